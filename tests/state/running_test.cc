#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavohacore/state.h>
#include <unistd.h>

#include <string>

#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_tool.h"

namespace {

using test_support::Exists;
using test_support::LogCapture;
using test_support::Logged;
using test_support::ScriptedTool;
using test_support::TakeCommandLines;
using test_support::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kRunning[] = "/tmp/.ha.running";
constexpr char kNotRunning[] = "/tmp/.ha.not.running";

TEST(Running, IsDecidedByMarkersAndThenSettings) {
  const struct {
    bool running, not_running;
    const char* defaults;
    const char* settings;
    int result;
    bool marker_after;
  } cases[] = {
      {true, true, "", "", 1, true},
      {true, false, "", "", 1, false},
      {false, true, "support_ha=\"yes\"\n", "runha=\"yes\"\n", 0, true},
      {false, false, "support_ha=\"yes\"\n", "runha=\"yes\"\n", 1, false},
      {false, false, "support_ha=yes\n", "x=1\n runha =yes\n", 1, false},
      {false, false, "support_ha=\"yes\"\n", "", 0, true},
      {false, false, "support_ha=\"yes\"\n", "runha=\"Yes\"\n", 0, true},
      {false, false, "support_ha=\"no\"\n", "runha=\"yes\"\n", 0, true},
      {false, false, nullptr, nullptr, 0, true},
  };
  for (const auto& c : cases) {
    for (const char* path :
         {kRunning, kNotRunning, "/etc.defaults/tavoinfo.conf", "/etc/tavoinfo.conf"}) {
      unlink(path);
    }
    if (c.running) WriteFile(kRunning, "");
    if (c.not_running) WriteFile(kNotRunning, "");
    if (c.defaults != nullptr) WriteFile("/etc.defaults/tavoinfo.conf", c.defaults);
    if (c.settings != nullptr) WriteFile("/etc/tavoinfo.conf", c.settings);
    EXPECT_EQ(TAVOHAIsRunning(), c.result);
    EXPECT_EQ(Exists(kNotRunning), c.marker_after);
    EXPECT_EQ(TAVOHAIsRunning(), c.result);
  }
}

TEST(Running, NegativeMarkerNeverFollowsAPlantedLink) {
  ASSERT_EQ(symlink("/etc/victim", kNotRunning), 0);
  EXPECT_EQ(TAVOHAIsRunning(), 0);
  EXPECT_FALSE(Exists("/etc/victim"));
}

TEST(Running, ActiveNeedsBothTheMarkerAndHA) {
  WriteFile("/tmp/ha_role_active", "");
  EXPECT_EQ(TAVOHAIsActive(), 0);
  WriteFile(kRunning, "");
  EXPECT_EQ(TAVOHAIsActive(), 1);
  unlink("/tmp/ha_role_active");
  EXPECT_EQ(TAVOHAIsActive(), 0);
}

TEST(Running, SafemodeAndUpgradeAreMarkers) {
  EXPECT_NE(TAVOHAIsSafemode(), 1);
  EXPECT_NE(HAIsUpgrading(), 1);
  WriteFile("/var/lib/ha/ha.safemode.info", "");
  EXPECT_EQ(TAVOHAIsSafemode(), 1);
  EXPECT_NE(HAIsUpgrading(), 1);
  WriteFile("/var/lib/ha/ha.upg", "");
  EXPECT_EQ(HAIsUpgrading(), 1);
}

TEST(Running, DaemonsLiveByTheirPidFilesAndOnlyAMismatchIsLogged) {
  LogCapture log;
  const std::string alive = std::to_string(getpid()) + "\n";
  struct Case {
    std::string corosync, pacemaker;
    int both;
    const char* logged;
  };
  const Case cases[] = {
      {alive, alive, 1, nullptr},
      {"", "noise", 0, nullptr},
      {"0", "-1", 0, nullptr},
      {alive, "4194999", 0, "ERROR. corosync:1. pcmk:0."},
      {"99999999999999999999", alive, 0, "ERROR. corosync:0. pcmk:1."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.corosync + "/" + c.pacemaker);
    WriteFile("/usr/tavo/tavoha/var/run/corosync.pid", c.corosync);
    WriteFile("/usr/tavo/tavoha/var/run/pacemaker.pid", c.pacemaker);
    EXPECT_EQ(CrsyncIsRunning(), c.corosync == alive);
    EXPECT_EQ(PcmkIsRunning(), c.pacemaker == alive ? 1 : 0);
    EXPECT_EQ(HAIsRunningCoroPace(), c.both);
    if (c.logged == nullptr) {
      EXPECT_THAT(log.Take(), IsEmpty());
    } else {
      EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "ha", c.logged)));
    }
  }
  unlink("/usr/tavo/tavoha/var/run/corosync.pid");
  EXPECT_FALSE(CrsyncIsRunning());
}

TEST(Running, StopRunsTheControlScriptOnlyWhileHARuns) {
  ScriptedTool script("/usr/tavo/tavoha/etc.defaults/rc.ha");
  script.Answer({{.exit_status = 0}, {.exit_status = 3}});
  EXPECT_EQ(TAVOHAStop(), -1);
  EXPECT_THAT(TakeCommandLines(), IsEmpty());
  unlink(kNotRunning);
  WriteFile(kRunning, "");
  EXPECT_EQ(TAVOHAStop(), 0);
  EXPECT_THAT(TakeCommandLines(), ElementsAre("/usr/tavo/tavoha/etc.defaults/rc.ha stop"));
  EXPECT_EQ(TAVOHAStop(), 3);
}

}  // namespace
