// Two nodes, and the built library at work on them. Its pauses pass at once, also for the cluster.
#include <algorithm>

#include "tests/simcluster/launched.h"

namespace {

using namespace test_support;

class TwoNodeCluster : public Launched {
 protected:
  void SetUp() override { ASSERT_EQ(Start().output, ""); }

  // The result of a library operation on a node.
  std::string Call(const std::string& node, const std::string& operation) const {
    return Do("run " + node +
              " env LD_PRELOAD=" VIRTUAL_TIME_LIBRARY
              " VIRTUAL_TIME_LOG=/run/simcluster/pauses " DRIVE_PROGRAM " " +
              operation);
  }
  void BringUp() const {
    ASSERT_EQ(Call("host0", "ConfInit 1"), "0\n");
    EXPECT_EQ(TakePauses(), "10 5 ");
    EXPECT_EQ(Call("host0", "Online 1"), "1\n");
    EXPECT_EQ(Call("host0", "Online 2"), "1\n");
    EXPECT_EQ(TakePauses(), "10 10 ");
    EXPECT_EQ(Roles(), "12");
  }
  // The roles of host0 and host1, asked from the first.
  std::string Roles() const {
    return Call("host0", "Role 1").substr(0, 1) + Call("host0", "Role 2").substr(0, 1);
  }
  // The pauses since the last call, in seconds.
  std::string TakePauses() const {
    const std::string path = scratch_ + "/cluster/cluster/pauses";
    const std::string pauses =
        Shell("test -e " + path + " && cut -d. -f1 " + path + " | tr '\\n' ' '").output;
    seen_ = pauses.size() < seen_ ? 0 : seen_;
    std::string fresh = pauses.substr(seen_);
    seen_ = pauses.size();
    return fresh;
  }

  mutable size_t seen_ = 0;
};

TEST_F(TwoNodeCluster, SurvivesFailuresAndSlownessAndLosesItsPeer) {
  BringUp();
  EXPECT_EQ(Call("host0", "RestartIP"), "0\n");
  EXPECT_EQ(Do("journal host0") + Do("journal host1"),
            "IPaddr2 stop | OCF_ROOT=/lib/ocf\nIPaddr2 start | OCF_ROOT=/lib/ocf\n");
  EXPECT_EQ(Call("host0", "IsIPUnmanaged"), "0\n");
  Do("fault tool IPaddr2 fail");
  EXPECT_EQ(Call("host0", "RestartIP"), "-1\n");
  EXPECT_EQ(Call("host1", "IsIPUnmanaged"), "1\n");
  EXPECT_EQ(Call("host1", "ManageIP"), "0\n");
  EXPECT_EQ(Call("host1", "IsIPUnmanaged"), "0\n");

  Do("fault operation host0 SERV");
  EXPECT_EQ(Roles(), "21");
  EXPECT_EQ(Call("host0", "HasFailedOp 1") + Call("host0", "HasFailedOp 2"), "1\n0\n");
  Do("fault operation nas-b FS");
  EXPECT_EQ(Roles(), "42") << "host0 gets further along the chain";
  EXPECT_EQ(Call("host0", "Standby 1"), "0\n") << "a failed operation is told";
  EXPECT_EQ(Call("host0", "Online 1"), "1\n");
  EXPECT_EQ(Call("host0", "HasFailedOp 1"), "0\n") << "online clears the node's state";
  EXPECT_EQ(Roles(), "12");
  Do("run host0 crm -F node clearstate nas-b");

  TakePauses();
  Do("fault slow 25");
  EXPECT_EQ(Call("host1", "Standby 2"), "1\n");
  EXPECT_EQ(Call("host1", "Online 2"), "1\n");
  EXPECT_THAT(TakePauses(), MatchesRegex("(1 ){15,25}10 10 10 (10 )?"));  // some really passed
  Do("fault slow 0");
  EXPECT_EQ(Roles(), "21");

  EXPECT_EQ(Call("host1", "Ban 2"), "0\n");
  EXPECT_EQ(Call("host1", "RemoveRemote text"), "0\n");
  EXPECT_EQ(TakePauses(), "1 30 ");
  EXPECT_EQ(Do("messages host0") + Do("messages host1"), "000001: UNBIND  text\n");
  EXPECT_EQ(Do("run host1 crm_node --list"), "33685161 nas-b member\n");
  EXPECT_EQ(Call("host1", "NodeExists 2") + Call("host1", "NodeStatus 2"), "0\n0\n");
  EXPECT_THAT(Do("cib"), AllOf(Not(HasSubstr("nas-a")), Not(HasSubstr("RULE_"))));
  Do("fault node host0 online");
  EXPECT_EQ(Roles(), "21");
}

TEST_F(TwoNodeCluster, SerialisesChangesAndBearsToolsThatGoWrong) {
  ASSERT_EQ(Call("host0", "ConfInit 1"), "0\n");
  const auto ban = [&](const char* node, const char* type) {
    return Command(std::string("run ") + node + " " DRIVE_PROGRAM " BanFor " + type + " & ");
  };
  EXPECT_EQ(Shell(ban("host0", "0") + ban("host0", "1") + ban("host1", "5") + "wait").output,
            "0\n0\n0\n");
  for (const char* rule :
       {"SYNC_DONE\" node=\"nas-a", "SPACE_SYNC\" node=\"nas-a", "SB_nas-b\" node=\"nas-b"}) {
    EXPECT_THAT(Do("cib"), HasSubstr(std::string("<rsc_location id=\"RULE_") + rule));
  }
  EXPECT_THAT(Do("log host0") + Do("log host1"), Not(HasSubstr("ERROR")));

  Call("host0", "CleanState");
  EXPECT_EQ(Call("host0", "Online 1"), "1\n");
  struct Case {
    std::string tool, fault, operation, result;
  };
  for (const auto& [tool, fault, operation, result] :
       {Case{"crm_mon", "noise", "NodeStatus 1", "0\n"},
        {"crm_mon", "missing", "Role 1", "0\n"},
        {"crm_resource", "kill", "Role 1", "3\n"},
        {"crm_resource", "noise", "Role 1", "3\n"},
        {"crm_resource", "none", "Role 1", "2\n"},
        {"cibadmin", "missing", "Ban 1", "0\n"},
        {"cibadmin", "kill", "IsBanned 1", "0\n"},
        {"cibadmin", "none", "IsBanned 1", "1\n"}}) {
    Do("fault tool " + tool + " " + fault);
    EXPECT_EQ(Call("host0", operation), result) << tool << " " << fault;
    Do("fault tool " + tool + " none");
  }
}

TEST_F(TwoNodeCluster, CarriesMessagesAndLogRecordsToThePeer) {
  const auto arrived = [&](int number, const char* kind) {
    char path[64];
    snprintf(path, sizeof path, "/cluster/cluster/messages/nas-b/%06d%s", number, kind);
    return ReadFile(scratch_ + path);
  };
  std::string alphabet;
  for (int i = 0; i < 2000; ++i) alphabet += static_cast<char>('a' + i % 26);
  int number = 0;
  for (const int size : {1, 8, 1023, 2000}) {
    const std::string text = alphabet.substr(0, static_cast<size_t>(std::min(size, 1023)));
    std::string payload = alphabet.substr(0, static_cast<size_t>(size));
    if (size == 2000) payload[1499] = '\0';
    EXPECT_EQ(Call("host0", "SendText " + std::to_string(size)), "0\n");
    EXPECT_EQ(arrived(++number, ""), text);
    EXPECT_EQ(Call("host0", "SendFile " + std::to_string(size)), "0\n");
    EXPECT_EQ(arrived(++number, ""), "-fIlE-:/tmp/payload");
    EXPECT_EQ(arrived(number, ".file"), payload.insert(0, text + "\nline\n"));
  }

  const std::string files = "run host0 sh -c 'ls /tmp/ha | grep log'";
  EXPECT_EQ(Call("host0", "Log 'a disk failed'"), "0\n");
  EXPECT_EQ(
      Do("run host1 cat /var/log/ha_events.log"),
      "HostName=\"nas-a\" LogType=\"1\" LogClass=\"2\" User=\"admin\" Event=\"a disk failed\"\n");
  EXPECT_THAT(Do("log host0"), Not(HasSubstr("syslog")));
  EXPECT_EQ(TakePauses(), "") << "the answer is there when the request was sent";
  Do("fault log fail");
  EXPECT_EQ(Call("host0", "Log again"), "0\n");
  EXPECT_THAT(Do("log host0"), HasSubstr("Failed to send syslog to active node."));
  Do("fault log silent");
  EXPECT_EQ(Call("host0", "Log again"), "-1\n");
  EXPECT_EQ(TakePauses(), "1 1 1 1 1 1 1 1 1 1 1 ");
  EXPECT_THAT(Do("log host0"), HasSubstr("Wait for syslog response from remote node timeout"));
  EXPECT_EQ(Do("run host1 grep -c . /var/log/ha_events.log"), "1\n");
  EXPECT_THAT(Do(files), Not(HasSubstr("tavolog_re"))) << "no file of the exchange stays";
  Do("fault node host1 lost");
  EXPECT_EQ(Call("host0", "Log again"), "-1\n");
}

TEST_F(TwoNodeCluster, HasTheRestOfAnAppliance) {
  EXPECT_EQ(Call("host0", "Upgrade 7"), "7\n");
  const std::string hardware = Do("run host0 ip -br link show ovs_eth0 | awk '{print \" 0 \" $3}'");
  if (hardware.size() < 17) GTEST_SKIP() << "no interface can be made here: " << Do("log host0");

  BringUp();
  EXPECT_EQ(Call("host0", "Interface"), "0 192.0.2.100 255.255.255.0" + hardware);
  EXPECT_EQ(Call("host0", "SetAddress 192.0.2.101"), "0\n");
  EXPECT_EQ(Call("host0", "Interface"), "0 192.0.2.101 255.255.0.0" + hardware);
  EXPECT_EQ(Call("host0", "Standby 1"), "1\n");
  for (int i = 0; i < 1000 && Call("host1", "Interface").starts_with("-1 "); ++i) {
  }
  EXPECT_THAT(Call("host1", "Interface"), StartsWith("0 192.0.2.100 ")) << "it follows the role";
}

}  // namespace
