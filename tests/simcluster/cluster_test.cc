// Two nodes, and the built library at work on them. Its pauses pass at once, also for the cluster.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

#include "tests/support/files.h"

namespace {

using test_support::ReadFile;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class TwoNodeCluster : public testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/cluster_test.XXXXXX";
    scratch_ = mkdtemp(name);
    ASSERT_EQ(Do("start"), "");
  }
  void TearDown() override {
    EXPECT_EQ(Do("stop"), "");
    std::filesystem::remove_all(scratch_);
  }

  static std::string Shell(const std::string& command) {
    FILE* pipe = popen(("exec 2>&1; " + command).c_str(), "r");
    std::string output;
    for (int c; (c = getc(pipe)) != EOF;) output.push_back(static_cast<char>(c));
    pclose(pipe);
    return output;
  }
  std::string Command(const std::string& arguments) const {
    return SIMCLUSTER_PROGRAM " --state " + scratch_ + "/cluster " + arguments;
  }
  std::string Do(const std::string& arguments) const { return Shell(Command(arguments)); }
  std::string CallCommand(const std::string& node, const std::string& operation) const {
    return Command("run " + node +
                   " env ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" VIRTUAL_TIME_LIBRARY
                   " VIRTUAL_TIME_LOG=/run/simcluster/pauses " DRIVE_PROGRAM " " +
                   operation);
  }
  // The result of a library operation on a node.
  std::string Call(const std::string& node, const std::string& operation) const {
    return Shell(CallCommand(node, operation));
  }
  void BringUp() const {
    ASSERT_EQ(Call("host0", "ConfInit 1"), "0\n");
    EXPECT_EQ(Call("host0", "Online 1"), "1\n");
    EXPECT_EQ(Call("host0", "Online 2"), "1\n");
  }
  // The roles of host0 and host1, asked from host0.
  std::string Roles() const {
    return Call("host0", "Role 1").substr(0, 1) + Call("host0", "Role 2").substr(0, 1);
  }
  // The same, asked from host1.
  std::string RolesSeenByPeer() const {
    return Call("host1", "Role 2").substr(0, 1) + Call("host1", "Role 1").substr(0, 1);
  }
  // The pauses since the last call, in seconds.
  std::string TakePauses() const {
    const std::string path = scratch_ + "/cluster/cluster/pauses";
    const std::string pauses =
        Shell("test -e " + path + " && cut -d. -f1 " + path + " | tr '\\n' ' '");
    seen_ = pauses.size() < seen_ ? 0 : seen_;
    std::string fresh = pauses.substr(seen_);
    seen_ = pauses.size();
    return fresh;
  }

  std::string scratch_;
  mutable size_t seen_ = 0;
};

TEST_F(TwoNodeCluster, IsSetUpFromNothingAndMovesTheActiveRole) {
  ASSERT_EQ(Call("host0", "ConfInit 1"), "0\n");
  EXPECT_EQ(TakePauses(), "10 5 ");
  EXPECT_EQ(Do("run host1 crm_mon -1 -S"), "nas-a: ONLINE STANDBY\nnas-b: ONLINE STANDBY\n");
  EXPECT_EQ(Do("run host1 crm_resource --list-raw | sed 's/:.$//' | sort -u | tr '\\n' ' '"),
            "CHECKPOINT_LAST_ CONF_SYNC_ DRBD_ DUMMY_END DUMMY_START FS INFO_SET_ IP PING_SERVER_ "
            "SERV ");
  EXPECT_EQ(Do("run host0 test -e /tmp/crm_conf.xml || echo gone"), "gone\n");
  EXPECT_EQ(Roles(), "00") << "nothing runs on standby";
  EXPECT_EQ(Call("host0", "Online 1"), "1\n");
  EXPECT_EQ(Call("host0", "Online 2"), "1\n");
  EXPECT_EQ(TakePauses(), "10 10 ");
  EXPECT_EQ(Roles(), "12");
  EXPECT_EQ(RolesSeenByPeer(), "12");
  EXPECT_EQ(Call("host0", "WaitDone") + Call("host1", "WaitDone"), "1\n1\n");
  EXPECT_EQ(Call("host0", "IsActive") + Call("host1", "IsActive"), "1\n0\n");
  EXPECT_EQ(Call("host1", "Status") + Call("host1", "IsConfigured PING_SERVER_"), "1\n1\n");

  EXPECT_EQ(Call("host1", "Standby 2"), "1\n");
  EXPECT_EQ(RolesSeenByPeer(), "01");
  EXPECT_EQ(Call("host0", "IsActive") + Call("host1", "IsActive"), "0\n1\n");
  EXPECT_EQ(Call("host0", "Online 1"), "1\n");
  EXPECT_EQ(Roles(), "21");

  EXPECT_EQ(Call("host0", "Ban 2"), "0\n");
  EXPECT_EQ(Call("host1", "IsBanned 1") + Call("host1", "IsBanned 2"), "1\n0\n");
  EXPECT_EQ(Roles(), "12");
  EXPECT_EQ(Call("host0", "Ban 1"), "0\n") << "confirmed by the rule that is there";
  EXPECT_EQ(Call("host0", "IsBanned 1"), "0\n");
  EXPECT_EQ(Call("host0", "Standby 1"), "1\n");
  EXPECT_EQ(Roles(), "02") << "the rule keeps the chain off the only node";
  EXPECT_EQ(Call("host1", "Unban 1"), "0\n");
  EXPECT_EQ(Roles(), "01");

  EXPECT_EQ(Call("host1", "ConfInit 0"), "0\n") << "what runs is not erased, so it is still there";
  EXPECT_EQ(Call("host1", "ConfReset 1"), "0\n");
  EXPECT_EQ(Do("run host0 crm_resource --list-raw"), "crm_resource: no resources configured\n");
}

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
  const std::string real_time = Command("run ");
  EXPECT_EQ(Shell(real_time + "host0 " DRIVE_PROGRAM " BanFor 0 & " + real_time +
                  "host0 " DRIVE_PROGRAM " BanFor 1 & " + real_time +
                  "host1 " DRIVE_PROGRAM " BanFor 5 & wait"),
            "0\n0\n0\n");
  for (const char* rule :
       {"SYNC_DONE\" node=\"nas-a", "SPACE_SYNC\" node=\"nas-a", "SB_nas-b\" node=\"nas-b"}) {
    EXPECT_THAT(Do("cib"), HasSubstr(std::string("<rsc_location id=\"RULE_") + rule));
  }
  EXPECT_THAT(Do("log host0") + Do("log host1"), Not(HasSubstr("ERROR")));

  Call("host0", "CleanState");
  EXPECT_EQ(Call("host0", "Online 1"), "1\n");
  struct Case {
    const char *tool, *fault, *operation, *result;
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
    Do(std::string("fault tool ") + tool + " " + fault);
    EXPECT_EQ(Call("host0", operation), result) << tool << " " << fault;
    Do(std::string("fault tool ") + tool + " none");
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
  EXPECT_EQ(Call("host1", "SmartTest /dev/sda"), "0\n");
  EXPECT_THAT(Do("log host0"), HasSubstr(": message: SMARTEST/dev/sda\n"));

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

TEST_F(TwoNodeCluster, AnswersSyncQueriesWholeOrNotAtAll) {
  const std::string events = "0 /etc/passwd=modified /etc/group=modified\n";
  EXPECT_EQ(Call("host0", "SyncStatus"), "0 running+ synced+\n");
  EXPECT_EQ(Call("host0", "SyncEvents"), events);
  EXPECT_EQ(Call("host1", "SyncAbandoned"), "0 /etc/motd=no such file\n");
  EXPECT_EQ(Call("host0", "SyncCheck"), "0\n");
  Do("run host0 sh -c 'echo \"error desc:full: disk\" >>/var/lib/ha/lsyncd/status'");
  EXPECT_EQ(Call("host0", "SyncStatus"), "0 running+ synced+ full: disk\n");
  EXPECT_EQ(Call("host1", "SyncStatus"), "0 running+ synced+\n");
  struct Fault {
    const char *name, *result;
  };
  for (const auto& [name, result] : {Fault{"stall", "-7\n"},
                                     {"noise", "-9\n"},
                                     {"cut", "-9 /etc/passwd=modified\n"},
                                     {"none", events.c_str()}}) {
    Do(std::string("fault sync ") + name);
    EXPECT_EQ(Call("host0", "SyncEvents"), result) << name;
  }

  const std::string drive = DRIVE_PROGRAM;
  const std::string twenty = Do("run host0 sh -c 'for i in 0 1 2 3 4 5 6 7 8 9; do " + drive +
                                " SyncEvents & " + drive + " SyncAbandoned & done; wait'");
  std::istringstream lines(twenty);
  int whole = 0, all = 0;
  for (std::string line; std::getline(lines, line); ++all) {
    if (line == "-3") continue;
    EXPECT_THAT(line + "\n", AnyOf(events, "0 /etc/motd=no such file\n"));
    ++whole;
  }
  EXPECT_EQ(all, 20);
  EXPECT_GE(whole, 1);
  Do("run host0 sh -c 'for t in 1 2 3 4 5 6; do timeout -s KILL 0.00$t " + drive +
     " SyncAbandoned; done'");
  EXPECT_EQ(Call("host0", "SyncEvents"), events) << "after clients that were killed";
}

TEST_F(TwoNodeCluster, HasTheRestOfAnAppliance) {
  EXPECT_EQ(Call("host0", "Upgrade 7"), "7\n");
  EXPECT_EQ(Call("host0", "Conflicts 192.0.2.10") + Call("host0", "Conflicts 192.0.2.11") +
                Call("host0", "Conflicts 192.0.2.12"),
            "1\n1\n0\n");
  EXPECT_EQ(Do("run host1 cat /proc/sys/kernel/tavo_serial"), "SIM0001\n");
  const std::string hardware = Do("run host0 ip -br link show ovs_eth0 | awk '{print \" 0 \" $3}'");
  if (hardware.size() < 17) GTEST_SKIP() << "no interface can be made here: " << Do("log host0");

  BringUp();
  EXPECT_EQ(Call("host0", "Interface"), "0 192.0.2.100 255.255.255.0" + hardware);
  EXPECT_THAT(Call("host1", "Interface"), StartsWith("-1 "));
  EXPECT_EQ(Call("host0", "SetAddress 192.0.2.101"), "0\n");
  EXPECT_EQ(Call("host0", "Interface"), "0 192.0.2.101 255.255.0.0" + hardware);
  Do("run host0 /usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2 stop");
  EXPECT_THAT(Call("host0", "Interface"), StartsWith("-1 "));
  EXPECT_EQ(Call("host0", "Standby 1"), "1\n");
  for (int i = 0; i < 1000 && Call("host1", "Interface").starts_with("-1 "); ++i) {
  }
  EXPECT_THAT(Call("host1", "Interface"), StartsWith("0 192.0.2.100 ")) << "it follows the role";
}

}  // namespace
