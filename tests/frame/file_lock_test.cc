#include <tavohacore/frame.h>

#include "tests/frame/logged.h"

namespace {

using namespace test_support;

constexpr auto kCrm = HA_LOCK_CRM_OPERATION;
constexpr char kCrmFile[] = "/tmp/ha/.ha.crm_operation.lock";

HA_FILE_LOCK_TYPE Type(int value) { return static_cast<HA_FILE_LOCK_TYPE>(value); }

using HaFileLock = Logged;

TEST_F(HaFileLock, EveryTypeLocksItsOwnFile) {
  const std::string names[] = {
      "space",         "infoset",    "upgrade",       "tavolog.send", "space.check.task",
      "load_overview", "load_space", "crm_operation", "disk_info",    "hb_operation"};
  umask(022);
  FILE* slots[10] = {};
  for (int i = 0; i < 10; ++i) {
    const std::string path = "/tmp/ha/.ha." + names[i] + ".lock";
    EXPECT_EQ(HAFindLockType(Type(i)), i);
    EXPECT_EQ(rgshalckList[i].path, path);
    EXPECT_EQ(HAFileLock(&slots[i], Type(i), 0), 0);
    EXPECT_EQ(ReadFile(path), "");
    EXPECT_NE(fcntl(fileno(slots[i]), F_GETFD) & FD_CLOEXEC, 0) << "a child would hold the lock on";
  }
  EXPECT_EQ(Shell("stat -c %a /tmp/ha").output, "755\n");
  for (FILE*& slot : slots) {
    EXPECT_EQ(HAFileUnlock(&slot), 0);
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(HAFileUnlock(&slot), -1);
  }
  std::swap(rgshalckList[0], rgshalckList[9]);  // rows are found by type, not by position
  EXPECT_EQ(HAFindLockType(HA_LOCK_SPACE), 9);
}

TEST_F(HaFileLock, FailsWithItsLineAndAnEmptySlot) {
  const std::string error = "-1 ERROR ha_file_lock: ";
  EXPECT_EQ(Outcome(HAFileLock(nullptr, kCrm, 0)), error + "Error parameter");
  EXPECT_EQ(Outcome(HAFileUnlock(nullptr)), "-1");
  FILE* slot = nullptr;
  EXPECT_EQ(Outcome(HAFileLock(&slot, Type(10), 3)), error + "Error file lock type : 10");
  EXPECT_EQ(HAFindLockType(Type(-1)), -1);
  EXPECT_FALSE(Exists("/tmp/ha"));

  const auto expect_failure = [&](const std::string& why, const std::string& first = "") {
    EXPECT_EQ(Outcome(HAFileLock(&slot, kCrm, 3)),
              error + first + "failed to fopen " + kCrmFile + ", errno=" + why);
    EXPECT_EQ(slot, nullptr);
  };
  WriteFile("/etc/victims/.ha.crm_operation.lock", "precious");
  ASSERT_EQ(symlink("/etc/victims", "/tmp/ha"), 0);
  expect_failure("Too many levels of symbolic links");
  EXPECT_EQ(ReadFile("/etc/victims/.ha.crm_operation.lock"), "precious");
  unlink("/tmp/ha");
  WriteFile("/tmp/ha", "in the way");  // which is no error of making the directory
  expect_failure("Not a directory");
  ASSERT_EQ(rename("/tmp", "/gone"), 0);
  const std::string none = "No such file or directory";
  expect_failure(none, "mkdir failed " + none + "; ERROR ha_file_lock: ");
}

TEST_F(HaFileLock, BusyLockIsTriedOnceMoreThanThereArePauses) {
  FILE *holder = nullptr, *slot = nullptr;
  ASSERT_EQ(HAFileLock(&holder, kCrm, 0), 0);
  for (const unsigned retries : {0U, 2U, 10U}) {
    const VirtualClock clock;
    EXPECT_EQ(Outcome(HAFileLock(&slot, kCrm, retries)), "-1");
    EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(clock.pauses(), std::vector<double>(retries, 1.0));
  }
  const VirtualClock clock([&](size_t pause) {
    if (pause == 2) HAFileUnlock(&holder);
  });
  EXPECT_EQ(Outcome(HAFileLock(&slot, kCrm, 10)), "0");
  EXPECT_THAT(clock.pauses(), SizeIs(2));
}

}  // namespace
