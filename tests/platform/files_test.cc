#include "tests/support/files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <numeric>
#include <string>
#include <thread>

#include "platform/tavlib.h"
#include "tests/support/virtual_clock.h"

namespace {

using test_support::Exists;
using test_support::WriteFile;

// The result of a call made by another thread.
template <typename Call>
auto InThread(Call call) {
  decltype(call()) result{};
  std::thread([&] { result = call(); }).join();
  return result;
}

TEST(Files, TouchMakesAndRenewsButFollowsNoLinkBelowTmp) {
  umask(022);
  EXPECT_EQ(TAVLIBFileTouch("/tmp/new"), 0);
  EXPECT_EQ(TAVLIBFileExist("/tmp/new"), 1);
  const timespec long_ago[2] = {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 1, .tv_nsec = 0}};
  utimensat(AT_FDCWD, "/tmp/new", long_ago, 0);
  EXPECT_EQ(TAVLIBFileTouch("/tmp/new"), 0);
  struct stat status {};
  stat("/tmp/new", &status);
  EXPECT_GT(status.st_mtime, 1);
  EXPECT_EQ(status.st_mode & 07777, 0644U);

  symlink("/var/lib/made", "/tmp/link");
  symlink("/var/lib/made", "/var/lib/link");
  EXPECT_EQ(TAVLIBFileTouch("/tmp/link"), -1);
  EXPECT_FALSE(Exists("/var/lib/made"));
  EXPECT_EQ(TAVLIBFileExist("/var/lib/link"), 0);
  EXPECT_EQ(TAVLIBFileTouch("/var/lib/link"), 0);
  EXPECT_EQ(TAVLIBFileExist("/var/lib/made"), 1);
  EXPECT_EQ(TAVLIBFileTouch("/tmp/none/file"), -1);
}

TEST(Files, PidFileNamesALivingProcessOnlyAsPlainNumber) {
  const std::string self = std::to_string(getpid());
  const pid_t zombie = fork();
  if (zombie == 0) _exit(0);
  waitid(P_PID, static_cast<id_t>(zombie), nullptr, WEXITED | WNOWAIT);
  const struct {
    std::string text;
    int alive;
  } kCases[] = {
      {self, 1},
      {" " + self + "\n", 1},
      {"1\n", 1},
      {"", 0},
      {"\n", 0},
      {self + "x", 0},
      {self + " " + self, 0},
      {"0x1", 0},
      {"0", 0},
      {"-1", 0},
      {"99999999999", 0},
      {std::to_string(zombie), 0},
      {"2147483647", 0},
      {"+1", 0},
      {self + std::string(1, '\0'), 0},
  };
  for (const auto& [text, alive] : kCases) {
    SCOPED_TRACE(text);
    WriteFile("/tmp/pid", text);
    EXPECT_EQ(TAVLIBProcAliveByPidFile("/tmp/pid"), alive);
  }
  EXPECT_EQ(TAVLIBProcAliveByPidFile("/tmp/none"), 0);
  waitpid(zombie, nullptr, 0);
}

TEST(FileLock, ExcludesThreadsForAsLongAsAskedFor) {
  ASSERT_EQ(TAVLIBFileLock(0x105, 5), 0);
  EXPECT_EQ(TAVLIBFileLock(0x100, 0), -1);
  EXPECT_EQ(InThread([] { return TAVLIBFileUnlock(0x100); }), -1);
  EXPECT_EQ(InThread([] { return TAVLIBFileLock(0x205, 0); }), 0);
  {
    const test_support::VirtualClock clock;
    EXPECT_EQ(InThread([] { return TAVLIBFileLock(0x105, 5); }), -1);
    const std::vector<double> pauses = clock.pauses();
    EXPECT_NEAR(std::accumulate(pauses.begin(), pauses.end(), 0.0), 5.0, 0.1);
  }
  EXPECT_EQ(InThread([] { return TAVLIBErrGet(); }), 0);  // each thread has its own record
  EXPECT_EQ(TAVLIBFileUnlock(0x100), 0);
  EXPECT_EQ(InThread([] { return TAVLIBFileLock(0x105, 0) + TAVLIBFileUnlock(0x100); }), 0);
  EXPECT_EQ(TAVLIBFileUnlock(0x100), -1);
}

TEST(FileLock, IsFreeAgainWhenItsProcessIsKilled) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    const char result = TAVLIBFileLock(0x105, 0) == 0 ? 'y' : 'n';
    if (write(ready[1], &result, 1) == 1) pause();
    _exit(1);
  }
  char held = 0;
  ASSERT_EQ(read(ready[0], &held, 1), 1);
  EXPECT_EQ(held, 'y');
  EXPECT_EQ(TAVLIBFileLock(0x105, 0), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0400);
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  EXPECT_EQ(TAVLIBFileLock(0x105, 0), 0);
}

TEST(FileLock, FollowsNoPlantedLink) {
  symlink("/var/lib/made", "/tmp/.tavlib.lock.100");
  EXPECT_EQ(TAVLIBFileLock(0x105, 0), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0900);
  EXPECT_FALSE(Exists("/var/lib/made"));
}

}  // namespace
