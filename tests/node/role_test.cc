#include "tests/crm/cluster.h"

namespace {

using namespace test_support;

using Role = Cluster;
using ClusterStatus = Cluster;

TEST_F(Role, IsReadFromWhereTheChainAndTheSetsRun) {
  const Story resources[] = {"DUMMY_END", "DUMMY_START",     "CONF_SYNC",
                             "INFO_SET",  "CHECKPOINT_LAST", "DRBD"};
  const struct {
    const char* on_peer;  // by resource
    int role, asked;
  } cases[] = {{"yynnnn", NODE_ROLE_ACTIVE, 1},    {"nyyyyy", NODE_ROLE_ACTIVE_PARTIAL, 2},
               {"nnyyyy", NODE_ROLE_PASSIVE, 6},   {"nnyyyn", NODE_ROLE_NOT_READY, 6},
               {"nnynyy", NODE_ROLE_NOT_READY, 4}, {"nnnnnn", NODE_ROLE_NOT_READY, 3}};
  crm_mon.Answer({{.output = "nas-a: ONLINE\nnas-b: ONLINE\n"}});
  for (const auto& c : cases) {
    std::vector<Story> asked = {"status"};
    for (int i = 0; i < 6; ++i) {
      RunsAt(resources[i], {c.on_peer[i] == 'y' ? "nas-a\nx: nas-b" : "nas-a"});
      if (i < c.asked) asked.push_back("locate " + resources[i]);
    }
    Expect(HANodeRoleTypeGet(NODE_TYPE_REMOTE), c.role, Then(asked));
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
  const struct {
    Story host0, host1;  // "": no such host
    int status;
  } cases[] = {{"ONLINE", "ONLINE", HA_STATUS_NORMAL}, {"ONLINE", "OFFLINE", HA_STATUS_WARNING},
               {"?", "ONLINE", HA_STATUS_WARNING},     {"ONFAIL", "?", HA_STATUS_ERROR},
               {"ONLINE", "ONFAIL", HA_STATUS_ERROR},  {"ONFAIL", "", HA_STATUS_ERROR},
               {"ONLINE", "", HA_STATUS_SINGLE_NODE},  {"", "ONLINE", HA_STATUS_SINGLE_NODE},
               {"", "OFFLINE", HA_STATUS_WARNING},     {"", "", HA_STATUS_WARNING}};
  for (const auto& c : cases) {
    const size_t hosts = size_t{!c.host0.empty()} + size_t{!c.host1.empty()};
    Configure("host0=" + Story(c.host0.empty() ? "" : "nas-a") +
              "\nhost1=" + Story(c.host1.empty() ? "" : "nas-b") + "\n");
    crm_mon.Answer({{.output = "nas-a: " + c.host0 + "\nnas-b: " + c.host1 + "\n"}});
    Expect(HAStatusGet(), c.status, Times(hosts, "status"));
  }
  unlink("/usr/tavo/tavoha/var/run/corosync.pid");
  Expect(HAStatusGet(), HA_STATUS_NOT_RUNNING, "");
}

}  // namespace
