#include <sys/syscall.h>
#include <syslog.h>
#include <tavohacore/frame.h>
#include <tavohacore/state.h>

#include <climits>

#include "platform/tavlib.h"
#include "tests/frame/logged.h"

namespace {

using namespace test_support;

TEST(Log, ShowsTheErrorOfTheFailedCallAndLeavesErrnoAlone) {
  errno = EBUSY;
  __halog(LOG_ERR, "[HA-%s] %s:%d: nobody listens", "ERROR", "m", 1);
  EXPECT_EQ(errno, EBUSY);
  LogCapture log;
  closelog();  // the logger must be reconnected without a trace in errno
  errno = EXDEV;
  const std::string body(3000, 'x');
  __halog(LOG_ERR, "[HA-%s] %s:%d: %m %s", "ERROR", "m", 7, body.c_str());
  EXPECT_EQ(errno, EXDEV);
  EXPECT_EQ(log.Take(), "ERROR m: Invalid cross-device link " + body);
}

TEST(Priority, PutsInAClassWhatHasNone) {
  for (const auto& [set, kept] :
       {std::pair(4, 0x4004), {0x6000, 0x6000}, {-1, 0x6000}}) {  // no class; idle; a failed read
    TAVOHASetPriority(0, set, 0, 0);
    EXPECT_EQ(syscall(SYS_ioprio_get, 1, getpid()), kept);
  }
  for (int missing = 0; missing < 4; ++missing) {
    int number = 0, *to[] = {&number, &number, &number, &number};
    to[missing] = nullptr;
    EXPECT_EQ(TAVOHAGetPriority(to[0], to[1], to[2], to[3]), 0);
    EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
    EXPECT_STREQ(TAVLIBErrorGetFile(), "ha_get_priority");
  }
}

TEST(Priority, FallsBackToTheLegacyFileAndRecordsWhatIsUnset) {
  CoverProcFile("oom_adj", "-5\n");
  TAVOHASetPriority(0, 0x4004, -1000000, -13);  // the kernel refuses the value, not the opening
  EXPECT_EQ(ReadFile("/proc/self/oom_adj"), "-5\n");

  int nice = 0, io = 0, score = INT_MIN, legacy = INT_MIN;
  EXPECT_EQ(TAVOHAGetPriority(&nice, &io, &score, &legacy), 1);
  EXPECT_EQ(legacy, INT_MIN);
  CoverProcFile("oom_score_adj", "none");
  score = INT_MIN;
  EXPECT_EQ(TAVOHAGetPriority(&nice, &io, &score, &legacy), 1);
  EXPECT_EQ(score, INT_MIN);
  EXPECT_EQ(legacy, -5);
  TAVOHASetPriority(0, 0x4004, INT_MIN, 3);
  EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
  EXPECT_EQ(ReadFile("/proc/self/oom_adj"), "3\n");
  EXPECT_EQ(ReadFile("/proc/self/oom_score_adj"), "none");
  TAVOHASetPriority(0, 0x4004, INT_MIN, INT_MIN);
  EXPECT_EQ(TAVLIBErrGet(), 0x0B00);
  EXPECT_STREQ(TAVLIBErrorGetFile(), "ha_set_priority");
  WriteFile("/run/oom_adj", "none");
  EXPECT_EQ(TAVOHAGetPriority(&nice, &io, &score, &legacy), 0);
  EXPECT_EQ(TAVLIBErrGet(), 0x0A00);
}

using RaisedPriority = Logged;

TEST_F(RaisedPriority, IsForCallersByTheirName) {
  CoverProcFile("cmdline", "");
  for (const auto& [name, boosted] : {std::pair("tavoscgi_TAVO.Storage.CGI.", "1"),
                                      {"tavoscgi_TAVO.Core.Storage.Disk", "1"},
                                      {"tavoscgi_TAVO.Core.Storage", "0"},
                                      {"/bin/tavoscgi_TAVO.Storage.CGI.", "0"}}) {
    WriteFile("/run/cmdline", std::string(name) + '\0' + "argument");
    SetRunning(true);
    EXPECT_EQ(Outcome(TAVOHAChkIfChangePriority()), boosted) << name;
    SetRunning(false);
    EXPECT_EQ(Outcome(TAVOHAChkIfChangePriority()), "0") << "HA does not run";
  }
  WriteFile("/run/cmdline", "");
  SetRunning(true);
  EXPECT_EQ(Outcome(TAVOHAChkIfChangePriority()),
            "0 ERROR ha_check_if_change_priority: Failed to get cmdline");
}

}  // namespace
