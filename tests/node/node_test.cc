#include "tests/crm/cluster.h"

namespace {

using namespace std::string_literals;
using namespace test_support;

using Role = Cluster;
using ClusterStatus = Cluster;

TEST_F(Role, IsReadFromWhereTheChainAndTheSetsRun) {
  const Story resources[] = {"DUMMY_END", "DUMMY_START",     "CONF_SYNC",
                             "INFO_SET",  "CHECKPOINT_LAST", "DRBD"};
  crm_mon.Answer({{.output = "nas-a: ONLINE\nnas-b: ONLINE\n"}});
  for (const auto& [on_peer, role, count] : {std::tuple("yynnnn", NODE_ROLE_ACTIVE, 1),
                                             {"nyyyyy", NODE_ROLE_ACTIVE_PARTIAL, 2},
                                             {"nnyyyy", NODE_ROLE_PASSIVE, 6},
                                             {"nnyyyn", NODE_ROLE_NOT_READY, 6},
                                             {"nnnnnn", NODE_ROLE_NOT_READY, 3}}) {
    std::vector<Story> asked = {"status"};
    for (int i = 0; i < 6; ++i) {
      RunsAt(resources[i], {on_peer[i] == 'y' ? "nas-a\nx: nas-b" : "nas-a"});
      if (i < count) asked.push_back("locate " + resources[i]);
    }
    Expect(HANodeRoleTypeGet(NODE_TYPE_REMOTE), role, Then(asked));
  }
  Expect(TAVOHANodeRoleGet(), NODE_ROLE_ACTIVE, "status; locate DUMMY_END");
}

TEST_F(Role, IsNoneForANodeThatIsNotOnlineAloneAndForOtherSelectors) {
  for (const char* words : {"ONLINE STANDBY", "ONLINE PENDING", "OFFLINE", "ONFAIL", "?"}) {
    PeerIs({words});
    Expect(HANodeRoleTypeGet(NODE_TYPE_REMOTE), NODE_ROLE_NONE, "status");
  }
  WriteFile("/var/lib/ha/ha.safemode.info", "");
  for (const int node : {0, 3, 4, 5, -1}) {
    Expect(HANodeRoleTypeGet(static_cast<_tag_NODE_TYPE_>(node)), NODE_ROLE_NONE, "");
  }
  Expect(HANodeRoleTypeGet(NODE_TYPE_REMOTE), NODE_ROLE_SAFEMODE, "");
  ASSERT_EQ(rename("/tmp/.ha.running", "/tmp/.ha.not.running"), 0);
  Expect(HANodeRoleTypeGet(NODE_TYPE_REMOTE), NODE_ROLE_NONE, "");
}

TEST_F(ClusterStatus, SumsUpBothHosts) {
  const std::tuple<Story, Story, int> cases[] = {
      // "": no such host
      {"ONLINE", "ONLINE", HA_STATUS_NORMAL}, {"ONLINE", "OFFLINE", HA_STATUS_WARNING},
      {"?", "ONLINE", HA_STATUS_WARNING},     {"ONFAIL", "?", HA_STATUS_ERROR},
      {"ONLINE", "ONFAIL", HA_STATUS_ERROR},  {"ONFAIL", "", HA_STATUS_ERROR},
      {"ONLINE", "", HA_STATUS_SINGLE_NODE},  {"", "ONLINE", HA_STATUS_SINGLE_NODE},
      {"", "OFFLINE", HA_STATUS_WARNING},     {"", "", HA_STATUS_WARNING}};
  for (const auto& [host0, host1, status] : cases) {
    const size_t hosts = size_t{!host0.empty()} + size_t{!host1.empty()};
    SetConf("host0=" + Story(host0.empty() ? "" : "nas-a") +
            "\nhost1=" + Story(host1.empty() ? "" : "nas-b") + "\n");
    crm_mon.Answer({{.output = "nas-a: " + host0 + "\nnas-b: " + host1 + "\n"}});
    Expect(HAStatusGet(), status, Times(hosts, "status"));
  }
  unlink("/usr/tavo/tavoha/var/run/corosync.pid");
  Expect(HAStatusGet(), HA_STATUS_NOT_RUNNING, "");
}

class NodeStatus : public Cluster {
 protected:
  static void SetHosts(const std::string& host0, const std::string& host1) {
    SetConf("host0=\"" + host0 + "\"\nhost1=\"" + host1 + "\"\n");
  }
  static int Status(int node) { return HANodeStatusGet(static_cast<_tag_NODE_TYPE_>(node)); }
  int StatusFor(const std::string& output, int node = NODE_TYPE_LOCAL) {
    crm_mon.Answer({{.output = output}});
    return Status(node);
  }
  // Of no node, the local one, the remote one, host0, host1, and what is none.
  static std::string Statuses() {
    std::string statuses;
    for (int node = 0; node < 6; ++node) statuses += std::to_string(Status(node));
    return statuses;
  }
};

TEST_F(NodeStatus, ReducesTheWordsOfTheNodesLines) {
  const std::string x(1 << 20, 'x');
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"nas-a: ONLINE\n", "3", "4"},
      {"nas-a: ONLINE STANDBY\n", "4", "14"},
      {"nas-a: UNCLEAN ONLINE\n", "4", "6"},
      {"nas-a: ONLINE\nnas-b: OFFLINE\nnas-a: PENDING\n", "4", "44"},
      {"nas-a: OFFLINE\n", "6", "8"},
      {"nas-a: UNCLEAN(OFFLINE)\n", "6", "a"},
      {"nas-a: OFFLINE STANDBY\n", "5", "18"},
      {"nas-a: OFFLINE PENDING\n", "5", "48"},
      {"nas-a: ONLINE: OFFLINE\n", "5", "c"},
      {"nas-a: ONLINE ONFAIL\n", "7", "24"},
      {"nas-a: UNCLEAN PENDING\n", "0", "42"},
      {"nas-a: online\nNAS-A: ONLINE\nnas-a : ONLINE\nnas-b: ONLINE\n", "0", "0"},
      {"a line without a colon ONLINE\n\nnas-a: ONLINE", "3", "4"},  // no line end
      {": ends the listing\nnas-a: ONLINE\n", "0", "0"},
      {"", "0", "0"},
      {x + ": ONLINE\nnas-a: ONLINE\n", "3", "4"},
      {"nas-a: " + x + " ONLINE", "3", "4"},
      {"x\0y\nnas-a: ONLINE\0OFFLINE\n"s, "3", "4"},
      {"nas-a\0: ONLINE\n"s, "0", "0"}};
  for (const auto& [output, status, flags] : cases) {
    SCOPED_TRACE(output.substr(0, 80));
    EXPECT_EQ(Outcome(StatusFor(output)), status + " INFO node: node:1. crmst:0x" + flags);
    EXPECT_EQ(Done(), "status");
  }
  SetHosts("nas-a", "ONLINE-1");
  EXPECT_EQ(StatusFor("ONLINE-1: OFFLINE\n", NODE_TYPE_REMOTE), NODE_STATUS_OFFLINE);
  // A name of 64 characters or more is no node's, not even that of its first 63.
  SetHosts("nas-a", std::string(63, 'n'));
  EXPECT_EQ(StatusFor(std::string(64, 'n') + ": ONLINE\n", NODE_TYPE_REMOTE), NODE_STATUS_UNKNOWN);
  EXPECT_EQ(StatusFor(std::string(63, 'n') + ": ONLINE\n", NODE_TYPE_REMOTE), NODE_STATUS_ONLINE);
}

TEST_F(NodeStatus, AToolThatEndsBadlyIsReadAndOneThatCannotStartLogged) {
  crm_mon.Answer({{.output = "nas-a: ONLINE\nnas-b: OFF", .kill_signal = SIGKILL},
                  {.output = "nas-a: ONLINE\n", .linger_milliseconds = 20, .exit_status = 7}});
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(Outcome(Status(NODE_TYPE_LOCAL)), "3 INFO node: node:1. crmst:0x4");
  }
  unlink("/usr/bin/crm_mon");
  for (const std::string error : {"No such file or directory", "Permission denied"}) {
    EXPECT_EQ(Outcome(Status(NODE_TYPE_LOCAL)),
              "0 ERROR node: TAVLIBPopen: " + error + "; INFO node: node:1. crmst:0x0");
    WriteFile("/usr/bin/crm_mon", "");
  }
}

TEST_F(NodeStatus, SelectorsChooseTheHostByName) {
  crm_mon.Answer({{.output = "nas-a: ONLINE\nnas-b: OFFLINE\nnas-c: ONFAIL\n"}});
  for (const auto& [host0, host1, statuses] : {std::tuple("nas-a", "nas-b", "036360"),
                                               {"nas-b", "nas-a", "036630"},
                                               {"nas-a", "nas-a", "033330"},
                                               {"nas-a", "", "032320"},
                                               {"nas-c", "nas-b", "000760"}}) {
    SetHosts(host0, host1);
    EXPECT_EQ(Statuses(), statuses) << host0 << "/" << host1;
  }
  log.Take();
  EXPECT_EQ(Outcome(Status(NODE_TYPE_REMOTE)), "0 INFO node: Failed to check node 2");
  ASSERT_EQ(sethostname("", 0), 0);  // which leaves the recorded hosts
  EXPECT_THAT(Outcome(Status(NODE_TYPE_HOST1)),
              AllOf(StartsWith("6 ERROR util: "), EndsWith("; ERROR node: Failed to get host name; "
                                                           "INFO node: node:4. crmst:0x8")));
}

TEST_F(NodeStatus, NothingIsRunForANodeThatIsNotThere) {
  for (const int node : {0, 5, -1}) EXPECT_EQ(Outcome(Status(node)), "0");
  SetHosts("nas-a", "");
  EXPECT_EQ(Outcome(Status(NODE_TYPE_HOST1)), "2");
  for (const char* gone : {"/usr/tavo/tavoha/var/run/pacemaker.pid", "/tmp/.ha.running"}) {
    unlink(gone);
    EXPECT_EQ(Statuses(), "012122");
  }
  EXPECT_EQ(Done(), "");
}

TEST_F(NodeStatus, NamesOfStatusesAndHosts) {
  const char* const names[] = {"unknown", "unknown",        "standalone",      "none",
                               "online",  "warning_online", "warning_offline", "offline",
                               "error",   "unknown"};
  for (int status = -1; status <= 8; ++status) {
    EXPECT_STREQ(HANodeStatusStr(static_cast<_tag_NODE_STATUS_>(status)), names[status + 1]);
  }
  char name[64] = "";
  EXPECT_EQ(Outcome(HAGetNodeHostName(NODE_TYPE_REMOTE, name, sizeof name)), "1");
  EXPECT_STREQ(name, "nas-b");
  EXPECT_EQ(Outcome(HAGetNodeHostName(NODE_TYPE_HOST0, name, 4)), "1");
  EXPECT_STREQ(name, "nas");
  for (const int node : {0, 5, -1}) {
    EXPECT_EQ(Outcome(HAGetNodeHostName(static_cast<_tag_NODE_TYPE_>(node), name, sizeof name)),
              "0 ERROR node: Invalid argument");
  }
  SetHosts("nas-a", "");
  EXPECT_EQ(Outcome(HAGetNodeHostName(NODE_TYPE_HOST1, name, sizeof name)),
            "0 DEBUG node: Failed to get host");
  EXPECT_EQ(Outcome(HAGetNodeHostName(NODE_TYPE_HOST0, nullptr, 64)),
            "0 ERROR conf: Invalid argument; DEBUG node: Failed to get host");
}

}  // namespace
