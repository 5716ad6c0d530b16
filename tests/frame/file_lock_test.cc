#include <tavohacore/frame.h>

#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr auto kCrm = HA_LOCK_CRM_OPERATION;
constexpr char kCrmFile[] = "/tmp/ha/.ha.crm_operation.lock";

HA_FILE_LOCK_TYPE Type(int value) { return static_cast<HA_FILE_LOCK_TYPE>(value); }

TEST(HaFileLock, EveryTypeLocksItsOwnFile) {
  const std::string names[] = {
      "space",         "infoset",    "upgrade",       "tavolog.send", "space.check.task",
      "load_overview", "load_space", "crm_operation", "disk_info",    "hb_operation"};
  umask(022);
  FILE* slots[10] = {};
  for (int i = 0; i < 10; ++i) {
    const std::string path = "/tmp/ha/.ha." + names[i] + ".lock";
    EXPECT_EQ(HAFindLockType(Type(i)), i);
    EXPECT_EQ(rgshalckList[i].type, i);
    EXPECT_EQ(rgshalckList[i].path, path);
    EXPECT_EQ(HAFileLock(&slots[i], Type(i), 0), 0);
    EXPECT_EQ(ReadFile(path), "");
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
  std::swap(rgshalckList[0], rgshalckList[9]);  // rows are found by type, not by position
  EXPECT_EQ(HAFindLockType(HA_LOCK_SPACE), 9);
}

TEST(HaFileLock, FailsWithItsLineAndAnEmptySlot) {
  LogCapture log;
  EXPECT_EQ(HAFileLock(nullptr, kCrm, 0), -1);
  EXPECT_EQ(HAFileUnlock(nullptr), -1);
  EXPECT_EQ(log.Take(), "ERROR ha_file_lock: Error parameter");
  const auto expect_failure = [&](int type, const std::string& line) {
    FILE* slot = nullptr;
    EXPECT_EQ(HAFileLock(&slot, Type(type), 3), -1);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(log.Take(), "ERROR ha_file_lock: " + line);
  };
  expect_failure(10, "Error file lock type : 10");
  EXPECT_EQ(HAFindLockType(Type(-1)), -1);
  EXPECT_FALSE(Exists("/tmp/ha"));

  const std::string opening = std::string("failed to fopen ") + kCrmFile + ", errno=";
  WriteFile("/etc/victim", "precious");
  WriteFile("/etc/victims/.ha.crm_operation.lock", "precious");
  ASSERT_EQ(symlink("/etc/victims", "/tmp/ha"), 0);
  expect_failure(kCrm, opening + "Too many levels of symbolic links");
  unlink("/tmp/ha");
  mkdir("/tmp/ha", 0755);
  ASSERT_EQ(symlink("/etc/victim", kCrmFile), 0);
  expect_failure(kCrm, opening + "Too many levels of symbolic links");
  EXPECT_EQ(ReadFile("/etc/victim") + ReadFile("/etc/victims/.ha.crm_operation.lock"),
            "preciousprecious");

  std::filesystem::remove_all("/tmp/ha");
  WriteFile("/tmp/ha", "in the way");  // which is no error of making the directory
  expect_failure(kCrm, opening + "Not a directory");
  ASSERT_EQ(rename("/tmp", "/gone"), 0);
  const std::string none = "No such file or directory";
  expect_failure(kCrm, "mkdir failed " + none + "; ERROR ha_file_lock: " + opening + none);
}

TEST(HaFileLock, BusyLockIsTriedOnceMoreThanThereArePauses) {
  LogCapture log;
  FILE *holder = nullptr, *slot = nullptr;
  ASSERT_EQ(HAFileLock(&holder, kCrm, 0), 0);
  for (const unsigned retries : {0U, 2U, 10U}) {
    const VirtualClock clock;
    EXPECT_EQ(HAFileLock(&slot, kCrm, retries), -1);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(clock.pauses(), std::vector<double>(retries, 1.0));
  }
  const VirtualClock clock([&](size_t pause) {
    if (pause == 2) HAFileUnlock(&holder);
  });
  EXPECT_EQ(HAFileLock(&slot, kCrm, 10), 0);
  EXPECT_THAT(clock.pauses(), SizeIs(2));
  EXPECT_EQ(log.Take(), "");
}

}  // namespace
