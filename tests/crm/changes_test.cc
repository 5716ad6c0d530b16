#include <sys/resource.h>

#include "tests/crm/cluster.h"

namespace {

using namespace test_support;

Story Create(const Story& rule) {
  return "cibadmin --create -X '<configuration ><constraints ><rsc_location id=\"" + rule +
         "\" node=\"nas-b\" rsc=\"DUMMY_START\" score=\"-INFINITY\"/></constraints>"
         "</configuration>'; has " +
         rule;
}
Story Delete(const Story& rule) { return "delete " + rule + "; has " + rule; }

class Constraints : public Cluster {
 protected:
  static int Set(BOOL add, int type) {
    return HACrmSetConstraintOnNode(add, NODE_TYPE_REMOTE, static_cast<CRM_CONSTRAINT_TYPE>(type));
  }
  static int Has(int type) {
    return HACrmHasConstraintOnNode(NODE_TYPE_HOST1, static_cast<CRM_CONSTRAINT_TYPE>(type));
  }
};

TEST_F(Constraints, AConfirmedChangeIsMadeOnceWithoutAPauseUnderTheTypesRule) {
  for (int type = 0; type < 7; ++type) {
    const Story& rule = kRules[type];
    const Story query =
        "cibadmin --query --xpath '//rsc_location[@id=\"" + rule + "\" and @node=\"nas-b\"]'";
    cibadmin.Answer({{}});
    Expect(Set(1, type), 0, Create(rule), "INFO Add constraint " + rule + " on node nas-b");
    Expect(Has(type), 1, query);
    cibadmin.Answer({{.exit_status = 6}});
    Expect(Set(type % 2 * 2, type), 0, Delete(rule), "INFO Remove constraint " + rule);
    Expect(Has(type), 0, query);
  }
}

TEST_F(Constraints, AnUnconfirmedChangeIsIssuedFiveTimesThreeSecondsApart) {
  Expect(Set(1, 3), 0, Then({Times(4, Create(kRules[3]) + "; pause 3"), Create(kRules[3])}),
         "ERROR check RULE_MEMSIZE timeout; INFO Add constraint RULE_MEMSIZE on node nas-b");
  cibadmin.AnswerTo({"-Ql", "--xpath", "*"}, {{}, {}, {.exit_status = 6}});
  Expect(Set(0, 3), 0, Then({Times(2, Delete(kRules[3]) + "; pause 3"), Delete(kRules[3])}),
         "INFO Remove constraint RULE_MEMSIZE");
}

TEST_F(Constraints, WhatCannotBeNamedIsRefusedBeforeAnyCommand) {
  for (const int type : {7, -1}) Expect(Set(type == 7, type) - Has(type), -1, "");
  SetConf("host0=nas-a\nhost1=\n");
  const Story no_name = "ERROR Failed to get host name of node type ";
  Expect(Set(1, CRM_CONSTRAINT_MEMSIZE), -1, "", no_name + "2");
  Expect(Set(0, CRM_CONSTRAINT_SB), -1, "", no_name + "2");
  Expect(Has(CRM_CONSTRAINT_SB), 0, "", no_name + "4");
  Expect(HACrmHasAnyConstraintOnNode(NODE_TYPE_REMOTE), 0, "");
  crm_mon.Answer(Says("nas-a: ", {"ONLINE"}));
  // A single node has no peer to look up.
  Expect(HACrmHasConstraintOnNode(NODE_TYPE_REMOTE, CRM_CONSTRAINT_MEMSIZE), 0, "status");
}

TEST_F(Constraints, AnyRuleOfTheNodeIsFoundWithOneQuery) {
  for (const int status : {0, 6}) {
    cibadmin.Answer({{.exit_status = status}});
    Expect(HACrmHasAnyConstraintOnNode(NODE_TYPE_LOCAL), status == 0,
           "cibadmin --query --local --xpath '//rsc_location[(@id=\"RULE_SYNC_DONE\" or "
           "@id=\"RULE_SPACE_SYNC\" or @id=\"RULE_SERV_FAIL\" or @id=\"RULE_MEMSIZE\" or "
           "@id=\"RULE_PING_SERVER\" or @id=\"RULE_VER_MISMATCH\" or @id=\"RULE_SB_nas-a\") "
           "and (@node=\"nas-a\")]'");
  }
}

TEST_F(Constraints, ABusyLockIsWaitedForThenReportedAndHeldToTheEnd) {
  const std::tuple<int (*)(), Story, Story> cases[] = {
      {[] { return Set(0, 3); }, "Failed to lock for setting constraint", "delete RULE_"},
      {HACrmManageIP, "Failed to lock file for operating IP", "crm_resource"},
      {HACrmCleanState, "Failed to lock for clean state", "crm configure delete"}};
  at_pause = [note = at_pause] {
    FILE* lock = nullptr;
    EXPECT_EQ(HAFileLock(&lock, HA_LOCK_CRM_OPERATION, 0), -1);
    note();
  };
  for (const auto& [change, message, first_command] : cases) {
    FILE* held = nullptr;
    // The second time, the first call must have given the lock back.
    for (const bool busy : {true, false}) {
      ASSERT_EQ(HAFileLock(&held, HA_LOCK_CRM_OPERATION, 0), 0);
      if (!busy) HAFileUnlock(&held);
      cibadmin.Answer({{}, {}, {.exit_status = 6}});  // not confirmed at once
      EXPECT_EQ(change(), 0);
      EXPECT_THAT(Done(), StartsWith(Then({Times(busy ? 10 : 0, "pause 1"), first_command})));
      EXPECT_EQ(Log().find("ERROR " + message) != Story::npos, busy);
      HAFileUnlock(&held);
    }
  }
}

constexpr char kAgent[] = "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2";

Story Set(const Story& managed) {
  return "crm_resource --resource IP --set-parameter is-managed --meta --parameter-value " +
         managed + "; nvpair IP is-managed and @value=\"false\"";
}

using IPResource = Cluster;

TEST_F(IPResource, TheManagedFlagIsSetUntilItIsSeen) {
  cibadmin.Answer({{.exit_status = 6}, {}, {}, {}, {.exit_status = 6}});
  Expect(HACrmUnmanageIP(), 0, Then({Set("false"), "pause 3", Set("false")}),
         "NOTICE HA crm unmanage IP");
  Expect(HACrmIsIPUnmanaged(), 1, "nvpair IP is-managed and @value=\"false\"");
  Expect(HACrmManageIP(), 0, Then({Set("true"), "pause 3", Set("true")}),
         "NOTICE HA crm manage IP");
  Expect(HACrmIsIPUnmanaged(), 0, "nvpair IP is-managed and @value=\"false\"");
}

TEST_F(IPResource, ARestartThatFailsStopsThereWithTheAddressUnmanaged) {
  using Answers = std::vector<ToolAnswer>;  // none: there is no agent
  const std::tuple<Answers, int, Story, Story> cases[] = {
      {{{}, {}}, 0, "IPaddr2 stop; IPaddr2 start; " + Set("true"), "NOTICE HA crm manage IP"},
      {{{.kill_signal = SIGKILL}}, -1, "IPaddr2 stop", "ERROR Failed to stop ip"},
      {{{}, {.exit_status = 7}}, -1, "IPaddr2 stop; IPaddr2 start", "ERROR Failed to start ip"},
      {{}, -1, "", "ERROR Failed to stop ip"}};
  for (const auto& [answers, result, runs, logged] : cases) {
    cibadmin.Answer({{}, {.exit_status = 6}});
    agent.Answer(answers);
    if (answers.empty()) unlink(kAgent);
    Expect(HACrmRestartIP(), result, Then({Set("false"), runs}),
           Then({"NOTICE HA crm unmanage IP", logged}));
  }
}

TEST_F(IPResource, AnAgentForWhichThereIsNoProcessIsReportedAsSuch) {
  chmod("/dev/log", 0666);
  at_pause = [] {};
  const pid_t child = fork();
  if (child == 0) {
    const rlimit no_process = {0, 0};
    setrlimit(RLIMIT_NPROC, &no_process);
    _exit(setuid(65534) == 0 ? -HACrmRestartIP() : 2);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "needs a second user";
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_THAT(Log(), EndsWith("ERROR Failed to fork process: Resource temporarily "
                              "unavailable; ERROR Failed to stop ip"));
}

TEST_F(IPResource, CleaningUpGoesThroughEveryTargetAndWaitsForNoneThatIsClean) {
  const Story remove = "crm configure delete ", standby = "cli-standby-DUMMY_START",
              prefer = "cli-prefer-DUMMY_START";
  Story clean, stuck, timeouts;
  for (const auto& [name, tried] :
       {std::pair(standby, remove + standby + "; has " + standby),
        {prefer, remove + prefer + "; has " + prefer},
        {"INFO_SET", "unset INFO_SET target-role; nvpair INFO_SET target-role"},
        {"CONF_SYNC", "unset CONF_SYNC target-role; nvpair CONF_SYNC target-role"},
        {"CHECKPOINT_LAST",
         "unset CHECKPOINT_LAST target-role; nvpair CHECKPOINT_LAST target-role"},
        {"DRBD", "unset DRBD target-role; nvpair DRBD target-role"},
        {"DRBD", "unset DRBD is-managed; nvpair DRBD is-managed and @value=\"false\""}}) {
    clean = Then({clean, tried});
    stuck = Then({stuck, Times(4, tried + "; pause 3"), tried});
    timeouts = Then({timeouts, "ERROR check " + name + " timeout"});
  }
  Expect(HACrmCleanState(), 0, clean);
  cibadmin.Answer({{}});
  Expect(HACrmCleanState(), 0, stuck, timeouts);
}

}  // namespace
