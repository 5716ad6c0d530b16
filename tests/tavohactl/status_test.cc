#include <gmock/gmock.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/support/files.h"
#include "tests/support/scripted_tool.h"
#include "tests/tavohactl/run.h"

namespace test_support {
namespace {

using nlohmann::json;

TEST(CtlStatus, ShowsBothNodesAsTheClusterSeesThem) {
  StartHa();
  ScriptedTool crm_mon("/usr/bin/crm_mon");
  crm_mon.Answer({{.output = "nas-a: ONLINE\nnas-b: OFFLINE STANDBY\n"}});
  ScriptedTool crm_resource("/usr/bin/crm_resource"), cibadmin("/usr/bin/cibadmin");
  crm_resource.Answer({{}});
  // Of the questions for rules, those about nas-b and any rule, RULE_MEMSIZE and RULE_SB get a yes.
  cibadmin.AnswerTo({"--query", "--local", "--xpath", "*"}, {{.exit_status = 1}, {}});
  for (const char* rule : {"RULE_MEMSIZE", "RULE_SB_nas-b"}) {
    const std::string path =
        "//rsc_location[@id=\"" + std::string(rule) + "\" and @node=\"nas-b\"]";
    cibadmin.AnswerTo({"--query", "--xpath", path}, {{}});
  }
  cibadmin.Answer({{.exit_status = 1}});
  const Outcome outcome = Tavohactl("status --json");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(json::parse(outcome.output), json::parse(R"({
    "this_host": "nas-a", "cluster": "warning", "running": true, "active": false,
    "safe_mode": false, "upgrading": false, "corosync_alive": true, "pacemaker_alive": true,
    "nodes": [{"node": "host0", "host_name": "nas-a", "local": true,
               "status": "online", "role": "not_ready", "rules": []},
              {"node": "host1", "host_name": "nas-b", "local": false,
               "status": "warning_offline", "role": "none", "rules": ["memsize", "sb"]}]
  })"));
  cibadmin.AnswerTo({"--query", "--local", "--xpath", "*"}, {{.exit_status = 1}, {}});
  EXPECT_EQ(Tavohactl("status").output,
            "this host:        nas-a\n"
            "cluster:          warning\n"
            "running:          yes\n"
            "active:           no\n"
            "safe mode:        no\n"
            "upgrading:        no\n"
            "corosync alive:   yes\n"
            "pacemaker alive:  yes\n"
            "\n"
            "NODE   HOST NAME  LOCAL  STATUS           ROLE       RULES\n"
            "host0  nas-a      yes    online           not_ready  -\n"
            "host1  nas-b      no     warning_offline  none       memsize, sb\n");
}

TEST(CtlStatus, EachMarkerShowsInItsOwnLine) {
  const std::pair<const char*, const char*> markers[] = {
      {"/tmp/ha_role_active", "active"},
      {"/var/lib/ha/ha.safemode.info", "safe_mode"},
      {"/var/lib/ha/ha.upg", "upgrading"},
  };
  StartHa();
  for (const auto& [file, member] : markers) {
    WriteFile(file, "");
    const json status = json::parse(Tavohactl("status --json").output);
    for (const auto& [other_file, other_member] : markers) {
      EXPECT_EQ(status[other_member], file == other_file) << other_member << " with " << file;
    }
    unlink(file);
  }
}

TEST(CtlStatus, AnswersWhereHaDoesNotRunOrThisHostIsUnknown) {
  const json off = json::parse(Tavohactl("status --json").output);
  EXPECT_EQ(off["running"], false);
  EXPECT_EQ(off["pacemaker_alive"], false);
  EXPECT_EQ(off["nodes"][0]["status"], "standalone");
  EXPECT_EQ(off["nodes"][0]["host_name"], "");
  EXPECT_EQ(off["nodes"][1]["status"], "none");

  StartHa();
  WriteFile("/usr/tavo/tavoha/etc/ha.conf", "host0=\"nas-b\"\nhost1=\"nas-c\"\n");
  unlink("/tmp/.ha.conf");
  const json stranger = json::parse(Tavohactl("status --json").output);
  EXPECT_EQ(stranger["nodes"][0]["local"], false);
  EXPECT_EQ(stranger["nodes"][1]["local"], false);
}

}  // namespace
}  // namespace test_support
