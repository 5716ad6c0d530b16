#include <tavohacore/state.h>

#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr char kRunning[] = "/tmp/.ha.running";
constexpr char kNotRunning[] = "/tmp/.ha.not.running";

TEST(Running, IsDecidedByMarkersAndThenSettings) {
  const struct {
    bool running, not_running;
    const char *defaults, *settings;
    int result;
    bool marker_after;
  } cases[] = {{true, true, "", "", 1, true},
               {true, false, "", "", 1, false},
               {false, true, "support_ha=\"yes\"\n", "runha=\"yes\"\n", 0, true},
               {false, false, "support_ha=yes\n", "x=1\n runha =yes\n", 1, false},
               {false, false, "support_ha=\"yes\"\n", "", 0, true},
               {false, false, "support_ha=\"yes\"\n", "runha=\"Yes\"\n", 0, true},
               {false, false, "support_ha=\"no\"\n", "runha=\"yes\"\n", 0, true},
               {false, false, nullptr, nullptr, 0, true}};
  const auto put = [](const char* path, bool there, const char* content = "") {
    unlink(path);
    if (there) WriteFile(path, content);
  };
  for (const auto& c : cases) {
    put(kRunning, c.running);
    put(kNotRunning, c.not_running);
    put("/etc.defaults/tavoinfo.conf", c.defaults != nullptr, c.defaults);
    put("/etc/tavoinfo.conf", c.settings != nullptr, c.settings);
    EXPECT_EQ(TAVOHAIsRunning(), c.result);
    EXPECT_EQ(Exists(kNotRunning), c.marker_after);
    EXPECT_EQ(TAVOHAIsRunning(), c.result);
  }
  unlink(kNotRunning);
  ASSERT_EQ(symlink("/etc/victim", kNotRunning), 0);
  EXPECT_EQ(TAVOHAIsRunning(), 0);
  EXPECT_FALSE(Exists("/etc/victim")) << "a planted link was followed";
}

TEST(Running, EachStateHasItsMarkerAndBeingActiveNeedsHaToo) {
  const auto states = [] {
    return std::vector{TAVOHAIsActive(), TAVOHAIsSafemode(), HAIsUpgrading()};
  };
  WriteFile("/tmp/ha_role_active", "");
  EXPECT_THAT(states(), ElementsAre(0, 0, 0));
  SetRunning(true);
  EXPECT_THAT(states(), ElementsAre(1, 0, 0));
  unlink("/tmp/ha_role_active");
  WriteFile("/var/lib/ha/ha.safemode.info", "");
  EXPECT_THAT(states(), ElementsAre(0, 1, 0));
  WriteFile("/var/lib/ha/ha.upg", "");
  EXPECT_THAT(states(), ElementsAre(0, 1, 1));
}

TEST(Running, DaemonsLiveByTheirPidFilesAndOnlyAMismatchIsLogged) {
  LogCapture log;
  const std::string alive = std::to_string(getpid()) + "\n", error = "ERROR ha: ERROR. ";
  const struct {
    std::string corosync, pacemaker;
    int both;
    std::string logged;
  } cases[] = {{alive, alive, 1, ""},
               {"", "noise", 0, ""},
               {"0", "-1", 0, ""},
               {alive, "4194999", 0, error + "corosync:1. pcmk:0."},
               {"99999999999999999999", alive, 0, error + "corosync:0. pcmk:1."}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.corosync + "/" + c.pacemaker);
    WriteFile(std::string(kDaemonFiles) + "corosync.pid", c.corosync);
    WriteFile(std::string(kDaemonFiles) + "pacemaker.pid", c.pacemaker);
    EXPECT_EQ(CrsyncIsRunning(), c.corosync == alive);
    EXPECT_EQ(PcmkIsRunning(), c.pacemaker == alive ? 1 : 0);
    EXPECT_EQ(HAIsRunningCoroPace(), c.both);
    EXPECT_EQ(log.Take(), c.logged);
  }
}

TEST(Running, StopRunsTheControlScriptOnlyWhileHARuns) {
  ScriptedTool script("/usr/tavo/tavoha/etc.defaults/rc.ha");
  script.Answer({{.exit_status = 0}, {.exit_status = 3}});
  EXPECT_EQ(TAVOHAStop(), -1);
  EXPECT_THAT(TakeCommandLines(), IsEmpty());
  SetRunning(true);
  EXPECT_EQ(TAVOHAStop(), 0);
  EXPECT_EQ(TAVOHAStop(), 3);
  EXPECT_THAT(TakeCommandLines(), Each("/usr/tavo/tavoha/etc.defaults/rc.ha stop"));
}

}  // namespace
