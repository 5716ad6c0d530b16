#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>

#include "tests/crm/cluster.h"

namespace {

using namespace test_support;

constexpr char kAgent[] = "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2";

// The two attributes are asked for in the same way, but a managed flag must say no.
Story Query(const Story& resource, const Story& attribute) {
  return "cibadmin -Ql --xpath '//nvpair[@id=\"" + resource + "-meta_attributes-" + attribute +
         "\" and @name=\"" + attribute +
         (attribute == "is-managed" ? "\" and @value=\"false\"]'" : "\"]'");
}
Story Set(const Story& managed) {
  return "crm_resource --resource IP --set-parameter is-managed --meta --parameter-value " +
         managed + "; " + Query("IP", "is-managed");
}

using IPResource = Cluster;

TEST_F(IPResource, TheManagedFlagIsSetUntilItIsSeen) {
  cibadmin.Answer({{.exit_status = 6}, {}, {}, {}, {.exit_status = 6}});
  Expect(HACrmUnmanageIP(), 0, Then({Set("false"), "pause 3", Set("false")}),
         "NOTICE HA crm unmanage IP");
  Expect(HACrmIsIPUnmanaged(), 1, Query("IP", "is-managed"));
  Expect(HACrmManageIP(), 0, Then({Set("true"), "pause 3", Set("true")}),
         "NOTICE HA crm manage IP");
  Expect(HACrmIsIPUnmanaged(), 0, Query("IP", "is-managed"));
}

TEST_F(IPResource, ARestartThatFailsStopsThereWithTheAddressUnmanaged) {
  const struct {
    std::vector<ToolAnswer> agent;  // none: there is no agent
    int result;
    Story runs, logged;
  } cases[] = {
      {{{}, {}}, 0, "IPaddr2 stop; IPaddr2 start; " + Set("true"), "NOTICE HA crm manage IP"},
      {{{.exit_status = 1}}, -1, "IPaddr2 stop", "ERROR Failed to stop ip"},
      {{{.kill_signal = SIGKILL}}, -1, "IPaddr2 stop", "ERROR Failed to stop ip"},
      {{{}, {.exit_status = 7}}, -1, "IPaddr2 stop; IPaddr2 start", "ERROR Failed to start ip"},
      {{}, -1, "", "ERROR Failed to stop ip"}};
  for (const auto& c : cases) {
    cibadmin.Answer({{}, {.exit_status = 6}});
    agent.Answer(c.agent);
    if (c.agent.empty()) unlink(kAgent);
    Expect(HACrmRestartIP(), c.result, Then({Set("false"), c.runs}),
           Then({"NOTICE HA crm unmanage IP", c.logged}));
  }
}

TEST_F(IPResource, TheAgentSeesOneVariableAlone) {
  cibadmin.Answer({{}});
  agent.Answer({{.exit_status = 1}});
  HACrmRestartIP();
  const ToolCall run = TakeToolCalls().back();
  EXPECT_THAT(run.environment, testing::ElementsAre(testing::Pair("OCF_ROOT", "/lib/ocf")));
  EXPECT_THAT(run.arguments, testing::ElementsAre(kAgent, "stop"));
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
  EXPECT_THAT(Logged(), testing::EndsWith("ERROR Failed to fork process: Resource temporarily "
                                          "unavailable; ERROR Failed to stop ip"));
}

TEST_F(IPResource, CleaningUpGoesThroughEveryTargetAndWaitsForNoneThatIsClean) {
  Story clean, stuck, timeouts;
  const auto target = [&](const Story& name, const Story& tried) {
    clean = Then({clean, tried});
    stuck = Then({stuck, Times(4, tried + "; pause 3"), tried});
    timeouts = Then({timeouts, "ERROR check " + name + " timeout"});
  };
  for (const Story rule : {"cli-standby-DUMMY_START", "cli-prefer-DUMMY_START"}) {
    target(rule, "crm configure delete " + rule + "; has " + rule);
  }
  for (const auto& [name, attribute] : {std::pair<Story, Story>{"INFO_SET", "target-role"},
                                        {"CONF_SYNC", "target-role"},
                                        {"CHECKPOINT_LAST", "target-role"},
                                        {"DRBD", "target-role"},
                                        {"DRBD", "is-managed"}}) {
    target(name, "crm_resource --resource " + name + " --delete-parameter " + attribute +
                     " --meta; " + Query(name, attribute));
  }
  Expect(HACrmCleanState(), 0, clean);
  cibadmin.Answer({{}});
  Expect(HACrmCleanState(), 0, stuck, timeouts);
}

}  // namespace
