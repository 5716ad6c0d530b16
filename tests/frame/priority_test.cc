#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <tavohacore/frame.h>
#include <tavohacore/state.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "platform/tavlib.h"
#include "tests/support/appliance.h"
#include "tests/support/log_capture.h"

namespace {

using test_support::CoverProcFile;
using test_support::ReadFile;
using test_support::WriteFile;

long IoPriority() { return syscall(SYS_ioprio_get, 1, getpid()); }

TEST(Priority, RefusesNullPointersWithARecord) {
  int value = 0;
  EXPECT_EQ(TAVOHAGetPriority(nullptr, &value, &value, &value), 0);
  EXPECT_EQ(TAVOHAGetPriority(&value, nullptr, &value, &value), 0);
  EXPECT_EQ(TAVOHAGetPriority(&value, &value, nullptr, &value), 0);
  EXPECT_EQ(TAVOHAGetPriority(&value, &value, &value, nullptr), 0);
  EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
  EXPECT_STREQ(TAVLIBErrorGetFile(), "ha_get_priority");
}

TEST(Priority, SetsAndReadsWhatTheKernelHolds) {
  CoverProcFile("oom_score_adj", "17\n");
  TAVOHASetPriority(-15, 8192, -900, -13);
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), -15);
  EXPECT_EQ(IoPriority(), 8192);
  EXPECT_EQ(ReadFile("/proc/self/oom_score_adj"), "-900\n");

  int nice = 0, io = 0, score = INT_MIN, legacy = INT_MIN;
  EXPECT_EQ(TAVOHAGetPriority(&nice, &io, &score, &legacy), 1);
  EXPECT_EQ(nice, -15);
  EXPECT_EQ(io, 8192);
  EXPECT_EQ(score, -900);
  EXPECT_EQ(legacy, INT_MIN);
}

TEST(Priority, AnIoPriorityWithoutClassIsBestEffort) {
  CoverProcFile("oom_score_adj", "0\n");
  TAVOHASetPriority(0, 4, 0, 0);
  EXPECT_EQ(IoPriority(), 0x4004);
  TAVOHASetPriority(0, 0x6000, 0, 0);  // idle, handed on unchanged
  EXPECT_EQ(IoPriority(), 0x6000);
  TAVOHASetPriority(0, -1, 0, 0);  // what a failed read leaves: refused by the kernel
  EXPECT_EQ(IoPriority(), 0x6000);
}

TEST(Priority, FallsBackToTheLegacyFileAndRecordsWhatIsUnset) {
  CoverProcFile("oom_score_adj", "none");
  CoverProcFile("oom_adj", "-5\n");
  int nice = 0, io = 0, score = INT_MIN, legacy = INT_MIN;
  EXPECT_EQ(TAVOHAGetPriority(&nice, &io, &score, &legacy), 1);
  EXPECT_EQ(score, INT_MIN);
  EXPECT_EQ(legacy, -5);

  TAVOHASetPriority(0, 0x4004, INT_MIN, 3);
  EXPECT_EQ(ReadFile("/proc/self/oom_adj"), "3\n");
  EXPECT_EQ(ReadFile("/proc/self/oom_score_adj"), "none");
  EXPECT_EQ(TAVLIBErrGet(), 0x0D00);

  TAVOHASetPriority(0, 0x4004, INT_MIN, INT_MIN);
  EXPECT_EQ(TAVLIBErrGet(), 0x0B00);
  EXPECT_STREQ(TAVLIBErrorGetFile(), "ha_set_priority");

  WriteFile("/run/oom_adj", "none");
  EXPECT_EQ(TAVOHAGetPriority(&nice, &io, &score, &legacy), 0);
  EXPECT_EQ(TAVLIBErrGet(), 0x0A00);
}

TEST(Priority, ATooTightScoreIsNotMadeUpForByTheLegacyFile) {
  CoverProcFile("oom_adj", "0\n");
  TAVOHASetPriority(0, 0x4004, -1000000, -13);  // the kernel refuses the value, not the opening
  EXPECT_EQ(ReadFile("/proc/self/oom_adj"), "0\n");
}

struct Caller {
  const char* name;
  int boosted;
};

class CallerName : public testing::TestWithParam<Caller> {};

TEST_P(CallerName, DecidesOverTheBoost) {
  CoverProcFile("cmdline", std::string(GetParam().name) + '\0' + "argument");
  WriteFile("/tmp/.ha.running", "");
  EXPECT_EQ(TAVOHAChkIfChangePriority(), GetParam().boosted);
  unlink("/tmp/.ha.running");
  EXPECT_EQ(TAVOHAChkIfChangePriority(), 0) << "HA does not run";
}

INSTANTIATE_TEST_SUITE_P(Priority, CallerName,
                         testing::Values(Caller{"tavoscgi_TAVO.Storage.CGI.", 1},
                                         Caller{"tavoscgi_TAVO.Storage.CGI.Volume", 1},
                                         Caller{"tavoscgi_TAVO.Core.Storage.Disk", 1},
                                         Caller{"tavoscgi_TAVO.Storage.CGI", 0},
                                         Caller{"/bin/tavoscgi_TAVO.Storage.CGI.", 0},
                                         Caller{"tavoscgi_TAVO.Core.Storage", 0}, Caller{"", 0}));

TEST(Priority, ReportsACommandLineThatCannotBeRead) {
  test_support::LogCapture log;
  CoverProcFile("cmdline", "");
  WriteFile("/tmp/.ha.running", "");
  EXPECT_EQ(TAVOHAChkIfChangePriority(), 0);
  EXPECT_THAT(log.Take(), testing::ElementsAre(test_support::Logged(
                              "ERROR", "ha_check_if_change_priority", "Failed to get cmdline")));
}

}  // namespace
