// Two nodes, and tavohactl with the built library at work on them. The library's pauses pass at
// once, also for the cluster.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/simcluster/launched.h"

namespace {

using namespace test_support;
using nlohmann::json;

class TwoNodeCluster : public Launched {
 protected:
  void SetUp() override {
    ASSERT_EQ(Start().output, "");
    Take({{"nas-a", "cluster init --full --yes", 0, "the default configuration is loaded\n", "",
           "10 5 "},
          {"nas-a", "resource where IP", 1, "nowhere\n"},
          {"nas-a", "node online local", 0, "nas-a is online\n"},
          {"nas-a", "node online remote", 0, "nas-b is online\n", "nas-a", "10 10 "}});
  }

  ShellResult Tavohactl(const std::string& node, const std::string& command_line) const {
    return Run("run " + node +
               " -- env LD_PRELOAD=" VIRTUAL_TIME_LIBRARY
               " VIRTUAL_TIME_LOG=/run/simcluster/pauses tavohactl " +
               command_line);
  }
  // The pauses since the last call, in whole seconds.
  std::string TakePauses() {
    const std::string file = scratch_ + "/cluster/cluster/pauses";
    const std::string all = Shell("sed 's/[.].*//' " + file + " 2>/dev/null | tr '\\n' ' '").output;
    return all.substr(std::min(all.size(), std::exchange(seen_, all.size())));
  }

  // What the cluster itself has on record about a node, in the words of "tavohactl status".
  json OnRecord(const std::string& host) const {
    const std::string cib = Do("cib");
    std::smatch state;
    const std::regex form("<node_state id=\"" + host +
                          "\"[^>]*crmd=\"online\" standby=\"(\\w+)\"[^]*?</node_state>");
    EXPECT_TRUE(std::regex_search(cib, state, form)) << cib;
    const auto runs = [&](const std::string& resource) {
      return state.str().find("<lrm_resource id=\"" + resource) != std::string::npos;
    };
    json rules = json::array();
    const std::regex rule("<rsc_location id=\"RULE_SERV_FAIL\" node=\"" + host + "\"");
    if (std::regex_search(cib, rule)) rules.push_back("serv-fail");
    return {{"host_name", host},
            {"status", state[1] == "true" ? "warning_online" : "online"},
            {"role", runs("DUMMY_END") ? "active"
                     : runs("DRBD_")   ? "passive"
                                       : "none"},
            {"rules", rules}};
  }
  // Compares that with what both nodes say, and returns which host is active.
  std::string ActiveAsAllAgree() const {
    const json record = {OnRecord("nas-a"), OnRecord("nas-b")};
    for (const std::string asked : {"nas-a", "nas-b"}) {
      json status = json::parse(Tavohactl(asked, "status --json").output);
      for (json& node : status["nodes"]) {
        const bool local = node["host_name"] == asked;
        EXPECT_EQ(node["local"], local);
        EXPECT_TRUE(!local || status["active"] == (node["role"] == "active"));
        for (const char* member : {"local", "node"}) node.erase(member);
      }
      EXPECT_EQ(status["nodes"], record) << "as seen by " << asked;
    }
    for (const json& node : record) {
      if (node["role"] == "active") return node["host_name"];
    }
    return "";
  }

  // One order: to tavohactl on a node, or without one to the launcher itself.
  struct Step {
    const char *node, *command_line;
    int status = 0;
    std::string output{};
    const char* active = nullptr;  // where given: the active host after it, as all agree
    const char* pauses = nullptr;  // where given: those since the last that were
  };
  void Take(const std::vector<Step>& steps) {
    for (const auto& [node, command_line, status, output, active, pauses] : steps) {
      SCOPED_TRACE(std::string(node) + ": " + command_line);
      EXPECT_EQ(*node == '\0' ? Run(command_line) : Tavohactl(node, command_line),
                (ShellResult{output, status}));
      if (pauses != nullptr) {
        EXPECT_THAT(TakePauses(), MatchesRegex(pauses));
      }
      if (active != nullptr) {
        EXPECT_EQ(ActiveAsAllAgree(), active);
      }
    }
  }

  const std::string look_ = "; see the system log, lines with [HA-ERROR]\n";

 private:
  size_t seen_ = 0;
};

TEST_F(TwoNodeCluster, GoesThroughItsLifeWithTavohactl) {
  Take({
      {"nas-a", "resource configured IP", 0, "yes\n"},
      {"nas-b", "wait", 0, "settled: this node is passive\n"},
      {"nas-b", "role host1", 0, "passive\n"},
      {"nas-b", "resource where DRBD", 0, "nas-a\nnas-b\n"},
      {"nas-b", "resource where IP nas-a", 0, "yes\n"},
      {"nas-b", "node exists remote", 0, "yes\n"},
      {"nas-a", "node standby local", 0, "nas-a is on standby\n", "nas-b"},
      {"nas-a", "node online local", 0, "nas-a is online\n", "nas-b"},
      {"nas-a", "rule add remote serv-fail", 0,
       "the rule serv-fail keeps the resources off nas-b\n", "nas-a"},
      {"nas-a", "rule add serv-fail", 1,
       "tavohactl: the rule serv-fail stands for the other node; remove it first\n"},
      {"nas-b", "rule add sb", 0, "the rule sb keeps the resources off nas-b\n"},
      {"nas-b", "rule list", 0,
       "RULE       NODE   HOST NAME\nserv-fail  host1  nas-b\nsb         host1  nas-b\n"},
      {"nas-a", "rule remove serv-fail", 0, "the rule serv-fail is removed\n"},
      {"nas-a", "rule remove sb", 0, "the rule sb is removed\n"},
      {"nas-a", "rule list remote", 0, "RULE  NODE   HOST NAME\nsb    host1  nas-b\n"},
      {"nas-a", "rule clear remote", 0, "no rule keeps the resources off nas-b\n", "nas-a"},
      {"nas-a", "sync events", 0,
       "KEY          VALUE\n/etc/passwd  modified\n/etc/group   modified\n"},
      {"", "run nas-a sh -c 'cd /var/lib/ha/lsyncd; echo error desc:disk full >>status'"},
      {"nas-a", "sync status", 0,
       "STATE    VALUE\nrunning  yes\nsynced   yes\n\nERROR\ndisk full\n"},
      // What could steer a terminal is not shown.
      {"", "run nas-a sh -c 'printf mo\\\\033ve:\\\\377 >/var/lib/ha/lsyncd/events'"},
      {"nas-a", "sync events", 0, "KEY    VALUE\nmo?ve  \xff\n"},
      {"nas-a", "sync events --json | tail -n5 | tr -d ' \\n'", 0,
       "\"key\":\"mo\\u001bve\",\"value\":\"\uFFFD\"}]}"},
      {"nas-a", "sync check", 0, "the daemon has been told to check\n"},
      {"nas-b", "sync abandoned", 0, "KEY        VALUE\n/etc/motd  no such file\n"},
      {"nas-a", "peer send HELLO --file /run/none", 1,
       "tavohactl: the message could not be sent to nas-b" + look_},
      {"nas-a", "peer smart-test /dev/sda", 0, "the order for the test is sent to nas-b\n"},
      {"nas-a", "peer trim /volume1", 0, "the order to trim is sent to nas-b\n"},
      {"nas-a", "peer sync-sys-part", 0, "the order is sent to nas-b\n"},
      {"nas-b", "ip status", 0, "managed\n"},
      {"nas-a", "ip unmanage", 0, "unmanaged\n"},
      {"nas-b", "ip status", 1, "unmanaged\n"},
      {"nas-a", "ip restart", 0, "the service address is restarted, and managed\n"},
      {"", "journal host0", 0,
       "IPaddr2 stop | OCF_ROOT=/lib/ocf\nIPaddr2 start | OCF_ROOT=/lib/ocf\n"},
      {"nas-a", "cluster clean", 0, "what manual interventions left is removed\n", "nas-a"},
      {"nas-a", "cluster remove-peer --text 'farewell' --yes", 0, "nas-b is removed\n"},
      {"", "messages nas-b", 0,
       "000001: SMARTEST/dev/sda\n000002: SSD_TRIM/volume1\n000003: SYNCMD01\n"
       "000004: UNBIND  farewell\n"},
      {"", "run nas-a crm_node --list", 0, "16907945 nas-a member\n"},
      {"nas-a", "node exists host1", 1, "no\n"},
      {"nas-a", "cluster reset --yes", 1,
       "tavohactl: the configuration is not erased: while resources run, only --full does that" +
           look_},
      {"nas-a", "cluster reset --full --yes", 0, "the configuration is erased\n"},
      {"", "cib | grep nas-b", 1},
  });
}

TEST_F(TwoNodeCluster, SurvivesFailuresAndSlownessAndLosesItsPeer) {
  Take({
      {"", "fault tool IPaddr2 fail"},
      {"nas-a", "ip restart", 1,
       "tavohactl: the service address could not be restarted, and stays unmanaged until "
       "\"tavohactl ip manage\"" +
           look_},
      {"nas-b", "ip status", 1, "unmanaged\n"},
      {"nas-b", "ip manage", 0, "managed\n"},
      {"", "fault operation host0 SERV"},
      {"nas-a", "node failed-op local", 0, "yes\n", "nas-b"},
      {"nas-a", "node failed-op remote", 1, "no\n"},
      {"", "fault operation nas-b FS"},
      // It gets further along the chain.
      {"nas-b", "role host0", 0, "active_partial\n"},
      {"nas-a", "role host1", 0, "passive\n"},
      {"nas-a", "node standby local", 1, "tavohactl: nas-a did not go on standby" + look_},
      {"nas-a", "node online local", 0, "nas-a is online\n"},
      {"nas-a", "node failed-op local", 1, "no\n", "nas-a"},
      {"", "run host0 crm -F node clearstate nas-b", 0, "", nullptr, ".*"},
      {"", "fault slow 25"},
      {"nas-b", "node standby remote", 0, "nas-a is on standby\n"},
      // Some time really passed.
      {"nas-b", "node online remote", 0, "nas-a is online\n", nullptr,
       "(1 ){15,25}10 10 10 (10 )?"},
      {"", "fault slow 0", 0, "", "nas-b"},
      {"nas-b", "rule add remote serv-fail", 0,
       "the rule serv-fail keeps the resources off nas-a\n"},
      {"nas-b", "cluster remove-peer --yes", 0, "nas-a is removed\n", nullptr, "1 30 "},
      {"", "run host1 crm_node --list", 0, "33685161 nas-b member\n"},
      {"nas-b", "node exists remote", 1, "no\n"},
      {"", "cib | grep -e nas-a -e RULE_", 1},
      {"", "fault node host0 online"},
      {"nas-b", "role", 0, "active\n"},
  });
}

TEST_F(TwoNodeCluster, SerialisesChangesAndReportsNothingThatIsNotDone) {
  const auto add = [&](const std::string& node, const std::string& rule) {
    return Command("run " + node + " tavohactl rule add " + rule + " & ");
  };
  Shell(add("nas-a", "sync-done") + add("nas-a", "space-sync") + add("nas-b", "sb") + "wait");
  Take({{"nas-a", "rule list", 0,
         "RULE        NODE   HOST NAME\nsync-done   host0  nas-a\nspace-sync  host0  nas-a\n"
         "sb          host1  nas-b\n"},
        {"nas-a", "rule clear local", 0, "no rule keeps the resources off nas-a\n"}});
  EXPECT_THAT(Do("log host0") + Do("log host1"), Not(HasSubstr("ERROR")));

  const struct {
    std::string tool, fault;
    const char* command_line;
    int status;
    std::string output;
  } cases[] = {{"crm_mon", "noise", "node online local", 1,
                "tavohactl: nas-a is not online but unknown" + look_},
               {"crm_mon", "missing", "role", 0, "none\n"},
               {"crm_resource", "kill", "role", 0, "not_ready\n"},
               {"crm_resource", "noise", "role", 0, "not_ready\n"},
               {"crm_resource", "none", "role", 0, "active\n"},
               {"crm_resource", "fail", "ip unmanage", 1,
                "tavohactl: the service address is still managed" + look_},
               {"cibadmin", "fail", "rule add sb", 1,
                "tavohactl: the rule sb could not be added for nas-a" + look_},
               {"cibadmin", "kill", "rule list", 0, "no rules\n"},
               {"crm_resource", "fail", "cluster init --yes", 1,
                "tavohactl: the default configuration could not be loaded" + look_}};
  for (const auto& [tool, fault, command_line, status, output] : cases) {
    Do("fault tool " + tool + " " + fault);
    Take({{"nas-a", command_line, status, output}});
    Do("fault tool " + tool + " none");
  }
}

TEST_F(TwoNodeCluster, CarriesMessagesAndLogRecordsToThePeer) {
  std::string arrived = scratch_ + "/cluster/cluster/messages/nas-b/000000";
  for (const size_t size : {1U, 8U, 1023U, 2000U}) {
    std::string text;
    while (text.size() < size) text += static_cast<char>('a' + text.size() % 26);
    const std::string sent = text.substr(0, 1023), file = scratch_ + "/payload",
                      payload = "line\n" + text + std::string("\0end", 4);
    WriteFile(file, payload);
    Shell("<" + file + " " + Command("run host0 tee /tmp/payload"));
    text.insert(0, "peer send ");
    Take({{"nas-a", text.c_str(), 0, "the message is sent to nas-b\n"}});
    ++arrived.back();
    EXPECT_EQ(ReadFile(arrived), sent);
    Take({{"nas-a", (text + " --file /tmp/payload").c_str(), 0, "the message is sent to nas-b\n"}});
    ++arrived.back();
    EXPECT_EQ(ReadFile(arrived), "-fIlE-:/tmp/payload");
    EXPECT_EQ(ReadFile(arrived + ".file"), sent + "\n" + payload);
  }

  const std::string silent =
      "tavohactl: nas-b did not record the event: it is not online, or did not answer" + look_;
  const char *records = "run host1 cat /var/log/ha_events.log",
             *record =
                 "HostName=\"nas-a\" LogType=\"1\" LogClass=\"2\" User=\"admin\" "
                 "Event=\"a disk failed\"\n";
  Take({{"nas-a", "peer log 'a disk failed' --type 1 --class 2 --user admin", 0,
         "nas-b has answered\n", nullptr, ""},
        {"", records, 0, record},
        {"", "log host0 | grep syslog", 1},
        {"", "fault log fail"},
        {"nas-a", "peer log again", 0, "nas-b has answered\n"},
        {"", "fault log silent"},
        {"nas-a", "peer log again", 1, silent, nullptr, "(1 ){11}"},
        {"", records, 0, record},
        {"", "run host0 sh -c 'ls /tmp/ha | grep tavolog_re'", 1},
        {"", "fault node host1 lost"},
        {"nas-a", "peer log again", 1, silent}});
  EXPECT_THAT(Do("log host0"),
              AllOf(HasSubstr("Failed to send syslog to active node."),
                    HasSubstr("Wait for syslog response from remote node timeout")));
}

TEST_F(TwoNodeCluster, MovesItsAddressWithTheActiveRole) {
  const std::string mac = Do("run host0 ip -br link show ovs_eth0 | awk '{print $3}'");
  if (mac.size() < 17) GTEST_SKIP() << "no interface can be made here: " << Do("log host0");
  const auto show = [&](const std::string& node) {
    return json::parse(Tavohactl(node, "interface show ovs_eth0 --json").output)["live_address"];
  };
  Take({{"nas-a", "mac 0", 0, mac}});
  EXPECT_EQ(show("nas-a"), "192.0.2.100");
  Tavohactl("nas-a", "interface set ovs_eth0 192.0.2.101 255.255.0.0");
  EXPECT_EQ(show("nas-a"), "192.0.2.101");
  Tavohactl("nas-a", "node standby local");
  for (int i = 0; i < 1000 && show("nas-b").is_null(); ++i) {
  }
  EXPECT_EQ(show("nas-b"), "192.0.2.100");
}

}  // namespace
