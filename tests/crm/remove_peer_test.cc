#include "tests/crm/cluster.h"

namespace {

using namespace test_support;

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
    for (const Story rule : {"RULE_SYNC_DONE", "RULE_SPACE_SYNC", "RULE_SERV_FAIL", "RULE_MEMSIZE",
                             "RULE_PING_SERVER", "RULE_SB_nas-b", "RULE_VER_MISMATCH"}) {
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
    Configure(Story("host0=nas-a\nhost1=nas-b\ndrbd_ip1=") + address + "\n");
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
  Configure("host0=nas-a\n");
  ExpectRemoval("", -1, "", "ERROR Failed to get remote hostname", false);
  Configure("host0=nas-a\nhost1=\n");
  ExpectRemoval("", -1, "", "WARN No remote already", false);
  Configure("host0=nas-a\nhost1=nas-b\n");
  ExpectRemoval("", -1, "", "ERROR Failed to get remote hostname");
  ExpectRemoval(text, -1, "", "ERROR Failed to prepare ais msg [" + text + "]");
}

}  // namespace
