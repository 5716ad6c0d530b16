#include <tavohacore/state.h>

#include "tests/frame/logged.h"

namespace {

using namespace test_support;

constexpr char kRunning[] = "/tmp/.ha.running";
constexpr char kNotRunning[] = "/tmp/.ha.not.running";

using Running = Logged;

TEST_F(Running, IsDecidedByMarkersAndThenSettings) {
  const auto put = [](const char* path, bool there) {
    unlink(path);
    if (there) WriteFile(path, "");
  };
  EXPECT_EQ(TAVOHAIsRunning(), 0) << "without settings";
  for (const auto& [running, not_running, defaults, settings, result, marker_after] :
       {std::tuple(true, true, "", "", 1, true),
        {true, false, "", "", 1, false},
        {false, true, "support_ha=\"yes\"\n", "runha=\"yes\"\n", 0, true},
        {false, false, "support_ha=yes\n", "x=1\n runha =yes\n", 1, false},
        {false, false, "support_ha=\"yes\"\n", "runha=\"Yes\"\n", 0, true},
        {false, false, "support_ha=\"no\"\n", "runha=\"yes\"\n", 0, true}}) {
    put(kRunning, running);
    put(kNotRunning, not_running);
    WriteFile("/etc.defaults/tavoinfo.conf", defaults);
    WriteFile("/etc/tavoinfo.conf", settings);
    EXPECT_EQ(TAVOHAIsRunning(), result);
    EXPECT_EQ(Exists(kNotRunning), marker_after);
    EXPECT_EQ(TAVOHAIsRunning(), result);
  }
}

TEST_F(Running, EachStateHasItsMarkerAndBeingActiveNeedsHaToo) {
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

TEST_F(Running, DaemonsLiveByTheirPidFilesAndOnlyAMismatchIsLogged) {
  const std::string alive = std::to_string(getpid()) + "\n";
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitid(P_PID, static_cast<id_t>(child), nullptr, WEXITED | WNOWAIT);
  const std::string zombie = std::to_string(child);
  for (const auto& [corosync, pacemaker, both] :
       {std::tuple(alive, alive, "1"),
        {zombie, zombie, "0"},
        {"", "noise", "0"},
        {"0", "-1", "0"},
        {alive, "4194999", "0 ERROR ha: ERROR. corosync:1. pcmk:0."},
        {"99999999999999999999", alive, "0 ERROR ha: ERROR. corosync:0. pcmk:1."}}) {
    WriteFile(std::string(kDaemonFiles) + "corosync.pid", corosync);
    WriteFile(std::string(kDaemonFiles) + "pacemaker.pid", pacemaker);
    EXPECT_EQ(CrsyncIsRunning(), corosync == alive);
    EXPECT_EQ(PcmkIsRunning(), pacemaker == alive ? 1 : 0);
    EXPECT_EQ(Outcome(HAIsRunningCoroPace()), both) << corosync << "/" << pacemaker;
  }
}

TEST_F(Running, StopRunsTheControlScriptOnlyWhileHARuns) {
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
