#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tavohacore/frame.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <thread>

#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/virtual_clock.h"

namespace {

using test_support::Exists;
using test_support::LogCapture;
using test_support::Logged;
using test_support::ReadFile;
using test_support::VirtualClock;
using test_support::WriteFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr auto kCrm = HA_LOCK_CRM_OPERATION;

HA_FILE_LOCK_TYPE Type(int value) { return static_cast<HA_FILE_LOCK_TYPE>(value); }

TEST(FileLock, EveryTypeLocksItsOwnFile) {
  const char* const paths[] = {
      "/tmp/ha/.ha.space.lock",
      "/tmp/ha/.ha.infoset.lock",
      "/tmp/ha/.ha.upgrade.lock",
      "/tmp/ha/.ha.tavolog.send.lock",
      "/tmp/ha/.ha.space.check.task.lock",
      "/tmp/ha/.ha.load_overview.lock",
      "/tmp/ha/.ha.load_space.lock",
      "/tmp/ha/.ha.crm_operation.lock",
      "/tmp/ha/.ha.disk_info.lock",
      "/tmp/ha/.ha.hb_operation.lock",
  };
  umask(022);
  FILE* slots[10] = {};
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(HAFindLockType(Type(i)), i);
    EXPECT_EQ(rgshalckList[i].type, i);
    EXPECT_STREQ(rgshalckList[i].path, paths[i]);
    EXPECT_EQ(HAFileLock(&slots[i], Type(i), 0), 0);
    EXPECT_EQ(ReadFile(paths[i]), "");
    EXPECT_NE(fcntl(fileno(slots[i]), F_GETFD) & FD_CLOEXEC, 0) << "a child would hold the lock on";
  }
  struct stat directory {};
  ASSERT_EQ(stat("/tmp/ha", &directory), 0);
  EXPECT_EQ(directory.st_mode & 07777, 0755U);
  for (FILE*& slot : slots) {
    EXPECT_EQ(HAFileUnlock(&slot), 0);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(HAFileUnlock(&slot), -1);
  }
}

TEST(FileLock, LooksRowsUpByTypeNotByPosition) {
  std::swap(rgshalckList[0], rgshalckList[9]);
  EXPECT_EQ(HAFindLockType(HA_LOCK_SPACE), 9);
  EXPECT_EQ(HAFindLockType(HA_LOCK_HB_OPERATION), 0);
}

TEST(FileLock, RefusesBadParameters) {
  LogCapture log;
  EXPECT_EQ(HAFileLock(nullptr, kCrm, 0), -1);
  for (const int type : {10, -1}) {
    FILE* slot = nullptr;
    EXPECT_EQ(HAFindLockType(Type(type)), -1);
    EXPECT_EQ(HAFileLock(&slot, Type(type), 3), -1);
    EXPECT_EQ(slot, nullptr);
  }
  EXPECT_EQ(HAFileUnlock(nullptr), -1);
  EXPECT_THAT(log.Take(),
              ElementsAre(Logged("ERROR", "ha_file_lock", "Error parameter"),
                          Logged("ERROR", "ha_file_lock", "Error file lock type : 10"),
                          Logged("ERROR", "ha_file_lock", "Error file lock type : -1")));
  EXPECT_FALSE(Exists("/tmp/ha"));
}

TEST(FileLock, BusyLockIsTriedOnceMoreThanThereArePauses) {
  LogCapture log;
  FILE* holder = nullptr;
  ASSERT_EQ(HAFileLock(&holder, kCrm, 0), 0);
  for (const unsigned retries : {0U, 2U, 10U}) {
    const VirtualClock clock;
    FILE* slot = nullptr;
    EXPECT_EQ(HAFileLock(&slot, kCrm, retries), -1);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(clock.pauses(), std::vector<double>(retries, 1.0));
  }
  EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(FileLock, TakesALockThatIsReleasedDuringAPause) {
  FILE* holder = nullptr;
  ASSERT_EQ(HAFileLock(&holder, kCrm, 0), 0);
  const VirtualClock clock([&](size_t pause) {
    if (pause == 2) HAFileUnlock(&holder);
  });
  FILE* slot = nullptr;
  EXPECT_EQ(HAFileLock(&slot, kCrm, 10), 0);
  EXPECT_THAT(clock.pauses(), SizeIs(2));
  EXPECT_EQ(HAFileUnlock(&slot), 0);
}

TEST(FileLock, ExcludesOtherProcessesUntilTheyEnd) {
  int ready[2];
  int done[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(done), 0);
  const pid_t child = fork();
  if (child == 0) {
    FILE* slot = nullptr;
    const char result = HAFileLock(&slot, kCrm, 0) == 0 ? 'y' : 'n';
    char byte = 0;
    _exit(write(ready[1], &result, 1) == 1 && read(done[0], &byte, 1) == 1 ? 0 : 1);
  }
  char result = 0;
  ASSERT_EQ(read(ready[0], &result, 1), 1);
  EXPECT_EQ(result, 'y');
  FILE* slot = nullptr;
  EXPECT_EQ(HAFileLock(&slot, kCrm, 0), -1);
  ASSERT_EQ(write(done[1], "", 1), 1);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(HAFileLock(&slot, kCrm, 0), 0) << "the lock outlived its holder";
}

TEST(FileLock, NeverFollowsPlantedLinks) {
  struct Case {
    const char* link;
    const char* target;
  };
  for (const Case& planted :
       {Case{"/tmp/ha/.ha.crm_operation.lock", "/etc/victim"}, Case{"/tmp/ha", "/etc/victims"}}) {
    LogCapture log;
    WriteFile("/etc/victim", "precious");
    WriteFile("/etc/victims/.ha.crm_operation.lock", "precious");
    ASSERT_EQ(system("rm -rf /tmp/ha"), 0);
    if (planted.target == std::string("/etc/victim")) mkdir("/tmp/ha", 0755);
    ASSERT_EQ(symlink(planted.target, planted.link), 0);
    FILE* slot = nullptr;
    EXPECT_EQ(HAFileLock(&slot, kCrm, 10), -1);
    EXPECT_EQ(ReadFile("/etc/victim"), "precious");
    EXPECT_EQ(ReadFile("/etc/victims/.ha.crm_operation.lock"), "precious");
    EXPECT_THAT(log.Take(),
                ElementsAre(Logged("ERROR", "ha_file_lock",
                                   "failed to fopen /tmp/ha/.ha.crm_operation.lock, errno=Too many "
                                   "levels of symbolic links")));
  }
}

}  // namespace
