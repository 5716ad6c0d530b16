#include "tests/crm/cluster.h"

namespace {

using namespace test_support;

constexpr char kStandbyFailed[] = "/var/lib/ha/ha_standby_failed-nas-b";
const Story kGone =
    "locate DUMMY_START; locate CHECKPOINT_LAST; locate CONF_SYNC; locate DRBD; locate INFO_SET";

using Nodes = Cluster;

TEST_F(Nodes, OnlineMustHoldForTenSecondsAndIsCommandedAtMostSixTimes) {
  const Story start = "status; crm -F node clearstate nas-b; crm node online nas-b; status";
  const Story held = "pause 10; status";
  const Story again = "pause 10; crm node online nas-b; status";
  const Story retry = "NOTICE node online retry: ";
  const struct {
    std::vector<std::string> peer;
    Story done, logged;
  } cases[] = {
      {{"ONLINE"}, "status", "DEBUG Remote node is online"},
      {{"?"}, "status", "DEBUG Remote node is online"},
      {{"OFFLINE", "ONLINE"}, Then({start, held}), ""},
      {{"ONLINE STANDBY", "ONFAIL", "ONLINE"}, Then({start, again, held}), ""},
      {{"OFFLINE", "OFFLINE", "?"}, Then({start, again}), ""},
      {{"OFFLINE", "ONLINE", "?"}, Then({start, held, again}), retry + "0"},
      {{"OFFLINE"}, Then({start, Times(4, again), "status"}), "ERROR node online timeout: 6"},
      {{"OFFLINE", "ONLINE", "OFFLINE", "ONLINE", "OFFLINE", "ONLINE", "OFFLINE", "ONLINE",
        "OFFLINE", "ONLINE", "OFFLINE", "ONFAIL"},
       Then({start, Times(3, held + "; " + again), held, "crm node online nas-b", again, held,
             "status"}),
       Then({retry + "0", retry + "1", retry + "2", retry + "3", retry + "4",
             "ERROR node online timeout: 7"})}};
  for (const auto& c : cases) {
    PeerIs(c.peer);
    Expect(HACrmOnline(NODE_TYPE_REMOTE), 1, c.done, c.logged);
  }
}

TEST_F(Nodes, StandbyIsRepeatedUntilNoWatchedResourceIsLeftThere) {
  RunsAt("DUMMY_START", {"nas-b", "nas-a"});
  RunsAt("INFO_SET", {"nas-a\nx: nas-b", "nas-a"});
  const Story again = "crm node standby nas-b; pause 1";
  const Story query =
      "DEBUG HACrmStandby 2; INFO Query failed operations with XPath: "
      "//node_state[@id=\"nas-a\"]//nvpair[contains(@id,\"fail-count\")]";
  Expect(HACrmStandby(NODE_TYPE_REMOTE), 1,
         Then({"crm node standby nas-b; locate DUMMY_START", again, kGone, again, kGone,
               "failed nas-a"}),
         query);
  EXPECT_FALSE(Exists(kStandbyFailed));
  cibadmin.Answer({{}});
  Expect(HACrmStandby(NODE_TYPE_REMOTE), 0, Then({"crm node standby nas-b", kGone, "failed nas-a"}),
         query + "; ERROR Local has failed CRM operation");
}

TEST_F(Nodes, StandbyGivesUpAfter601RepeatsIsUndoneAndMarked) {
  RunsAt("DUMMY_START", {"nas-b"});
  Expect(HACrmStandby(NODE_TYPE_REMOTE), 0,
         Then({"crm node standby nas-b",
               Times(601, "locate DUMMY_START; crm node standby nas-b; pause 1"),
               "locate DUMMY_START; crm -F node clearstate nas-b"}),
         "DEBUG HACrmStandby 2; ERROR crm standby timeout (host: nas-b)");
  EXPECT_EQ(ReadFile(kStandbyFailed), "");
}

TEST_F(Nodes, AnActiveNodeIsDoneAtOnceAndAPassiveOneWithAllItsSets) {
  RunsAt("DUMMY_END", {"nas-a", "nas-a", "", "nas-b"});
  RunsAt("CONF_SYNC", {"nas-a"});
  RunsAt("INFO_SET", {"nas-b", "nas-a"});
  RunsAt("CHECKPOINT_LAST", {"nas-a"});
  RunsAt("DRBD", {"nas-b", "nas-a"});
  Expect(HAWaitCrmDone(), 1, "locate DUMMY_END; locate DUMMY_END");
  const Story sets = "locate CONF_SYNC; locate INFO_SET; locate CHECKPOINT_LAST; locate DRBD";
  Expect(HAWaitCrmDone(), 1,
         Then({"locate DUMMY_END; pause 30; locate DUMMY_END; locate DUMMY_END",
               "locate CONF_SYNC; locate INFO_SET; pause 30", sets, "pause 30", sets}));
}

TEST_F(Nodes, WaitingRunsOutOf162And12ChecksAndThenCommandsOnline) {
  crm_mon.Answer(Says("nas-a: ", {"ONLINE"}));
  Expect(HAWaitCrmDone(), 0,
         Then({Times(161, "locate DUMMY_END; pause 30"), "locate DUMMY_END; locate DUMMY_END",
               Times(11, "locate CONF_SYNC; pause 30"), "locate CONF_SYNC; status"}),
         "ERROR Timed out on checking DUMMY_END; ERROR Timed out on checking all end, "
         "try to online again; DEBUG Remote node is online");
}

TEST_F(Nodes, AreAskedForByTheirHostNames) {
  for (const int status : {0, 6}) {
    cibadmin.Answer({{.exit_status = status}});
    Expect(
        HACrmIsNodeExist(NODE_TYPE_REMOTE), status == 0,
        "cibadmin --query --local --xpath //node[@id=\"nas-b\"]",
        "DEBUG HACrmIsNodeExist: 2; INFO Query node existence with XPath: //node[@id=\"nas-b\"]");
    EXPECT_EQ(HACrmHasFailedOp(NODE_TYPE_REMOTE), status == 0);
    EXPECT_EQ(Done(), "failed nas-b");
    Logged();
  }
  Configure("host1=nas-a\n");
  Expect(HACrmIsNodeExist(NODE_TYPE_REMOTE) + HACrmHasFailedOp(NODE_TYPE_REMOTE), 0, "");
  Expect(HACrmStandby(NODE_TYPE_REMOTE), 0, "");
  Expect(HACrmOnline(NODE_TYPE_REMOTE), 1, "");
  Expect(HAWaitCrmDone(), 0, "", "ERROR Failed to get local hostname");
}

}  // namespace
