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
  const std::tuple<std::vector<std::string>, Story, Story> cases[] = {
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
  for (const auto& [peer, done, logged] : cases) {
    PeerIs(peer);
    Expect(HACrmOnline(NODE_TYPE_REMOTE), 1, done, logged);
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
    Log();
  }
  SetConf("host1=nas-a\n");
  Expect(HACrmIsNodeExist(NODE_TYPE_REMOTE) + HACrmHasFailedOp(NODE_TYPE_REMOTE), 0, "");
  Expect(HACrmStandby(NODE_TYPE_REMOTE), 0, "");
  Expect(HACrmOnline(NODE_TYPE_REMOTE), 1, "");
  Expect(HAWaitCrmDone(), 0, "", "ERROR Failed to get local hostname");
}

class RemovePeer : public Cluster {
 protected:
  static Story Attempt(const Story& id = "33685161") {
    return "crm -F node fence nas-b; crm -F node clearstate nas-b; crm node delete nas-b; "
           "crm_node -R " +
           id +
           " --force; "
           "cibadmin --delete --obj_type nodes --crm_xml '<node uname=\"nas-b\"/>'; "
           "cibadmin --delete --obj_type status --crm_xml '<node_state uname=\"nas-b\"/>'; "
           "corosync-objctl -d runtime.totem.pg.mrp.srp.members.nas-b; members";
  }
  // Expects what leads to the result, and the removal of the rules behind it; with no known peer,
  // of those that do not need its name.
  void ExpectRemoval(const Story& text, int result, const Story& done, const Story& logged,
                     bool known = true, int line = __builtin_LINE()) {
    std::vector<Story> removed = {done},
                       lines = {"WARN HAUnbindRemote", logged, "NOTICE crm remove constraint: 2"};
    for (const Story& rule : kRules) {
      const bool removable = known || rule != "RULE_SB_nas-b";
      removed.push_back(removable ? "delete " + rule + "; has " + rule : "");
      lines.push_back(removable ? "INFO Remove constraint " + rule
                                : "ERROR Failed to get host name of node type 2");
    }
    Expect(HACrmRemoveRemote(text.c_str()), result, Then(removed), Then(lines), line);
  }

  const Story message = "crm_node --node nas-b --mesg 'UNBIND  now please'";
  const Story waits =
      "NOTICE waiting remote offline:nas-b:6....; "
      "NOTICE waiting remote lost:nas-b...";
  const ToolAnswer both = {.output = "16907945 nas-a member\n33685161 nas-b member\n"};
};

TEST_F(RemovePeer, APeerThatIsGoneIsDeletedInOneAttempt) {
  PeerIs({"OFFLINE"});
  crm_node.Answer({{.output = "1 nas-a member\n1 nas-b lost\nnas-b member\n1 nas-b member x\n"}});
  for (const auto& [address, id] : {std::pair("169.254.1.1", "16907945"),
                                    {"169.254.1.2", "33685161"},
                                    {"169.254.1.10", "33685161"}}) {
    SetConf(Story("host0=nas-a\nhost1=nas-b\ndrbd_ip1=") + address + "\n");
    ExpectRemoval("now please", 0,
                  Then({message, "status; members", Attempt(id), "pause 30; members"}), waits);
  }
}

TEST_F(RemovePeer, EveryBudgetRunsOutAndNoneStopsTheRemoval) {
  PeerIs({"ONLINE", "ONLINE STANDBY"});
  crm_node.Answer({both});
  ExpectRemoval(
      "now please", 0,
      Then({message, Times(301, "status; pause 1"), "status", Times(301, "members; pause 1"),
            "members", Times(11, Attempt() + "; pause 30"), Attempt()}),
      Then({"NOTICE waiting remote offline:nas-b:3....",
            Times(10, "NOTICE waiting remote offline:nas-b:4...."),
            "ERROR Timed out on waiting remote offline: nas-b",
            Times(11, "NOTICE waiting remote lost:nas-b..."),
            "ERROR Timed out on waiting remote lost: nas-b",
            "ERROR Timed out on waiting remote info deleted: nas-b"}));
}

TEST_F(RemovePeer, IsDoneWithTwoListingsThirtySecondsApartThatLackThePeer) {
  PeerIs({"OFFLINE"});
  const ToolAnswer failed = {.output = both.output, .exit_status = 234};
  crm_node.AnswerTo({"--list"}, {failed, both, failed, {}, both, {}, failed});
  ExpectRemoval("now please", 0,
                Then({message, "status; members", Times(2, Attempt() + "; pause 30"), Attempt(),
                      "pause 30; members; pause 30", Attempt(), "pause 30; members"}),
                Then({waits, Times(3, "ERROR Failed to get all locations")}));
}

TEST_F(RemovePeer, ARefusalStillRemovesTheRules) {
  const Story text(1016, 'x');
  SetConf("host0=nas-a\n");
  ExpectRemoval("", -1, "", "ERROR Failed to get remote hostname", false);
  SetConf("host0=nas-a\nhost1=\n");
  ExpectRemoval("", -1, "", "WARN No remote already", false);
  SetConf("host0=nas-a\nhost1=nas-b\n");
  ExpectRemoval("", -1, "", "ERROR Failed to get remote hostname");
  ExpectRemoval(text, -1, "", "ERROR Failed to prepare ais msg [" + text + "]");
}

}  // namespace
