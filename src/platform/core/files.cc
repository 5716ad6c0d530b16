#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "platform/core/bounded_wait.h"
#include "platform/core/record.h"
#include "platform/core/white_space.h"
#include "platform/handles.h"
#include "platform/safe_open.h"

namespace {

constexpr char kModule[] = "files";

// Returns the process id that the file holds, or 0.
pid_t ReadPid(const char* path) {
  // Not blocking: nothing planted there can make this wait.
  const platform::UniqueFd file = platform::SafeOpen(path, O_RDONLY | O_NONBLOCK);
  if (!file) return 0;
  char buffer[64];
  const ssize_t length =
      platform::RetryOnSignal([&] { return read(file.get(), buffer, sizeof buffer); });
  if (length < 0) return 0;
  const std::string_view text = tavocore::Trimmed({buffer, static_cast<size_t>(length)});
  pid_t pid = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, pid);
  return error == std::errc() && rest == end && pid > 0 ? pid : 0;
}

// A zombie has ended, though it can still be signalled. Where that cannot be told, it lives.
bool IsAlive(pid_t pid) {
  const platform::UniqueFd process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (!process) return kill(pid, 0) == 0 || errno == EPERM;
  pollfd end = {.fd = process.get(), .events = POLLIN, .revents = 0};
  return poll(&end, 1, 0) != 1;
}

// The locks that the calling thread holds, so that unlocking finds what locking opened. Plain data:
// nothing has to be set up or torn down with a thread.
struct HeldLock {
  bool held;
  int lock;
  int fd;
};
constexpr int kMaxHeldLocks = 16;
thread_local HeldLock held_locks[kMaxHeldLocks];

HeldLock* FindHeld(int lock) {
  HeldLock* const end = std::end(held_locks);
  HeldLock* const found = std::find_if(std::begin(held_locks), end, [&](const HeldLock& entry) {
    return entry.held && entry.lock == lock;
  });
  return found == end ? nullptr : found;
}

HeldLock* FindFree() {
  HeldLock* const end = std::end(held_locks);
  HeldLock* const found =
      std::find_if(std::begin(held_locks), end, [](const HeldLock& entry) { return !entry.held; });
  return found == end ? nullptr : found;
}

constexpr int LockOf(int id) { return id & ~0xff; }

}  // namespace

int TAVLIBFileExist(const char* path) {
  if (path == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return 0;
  }
  return faccessat(AT_FDCWD, path, F_OK, AT_EACCESS) == 0 ? 1 : 0;
}

int TAVLIBFileTouch(const char* path) {
  if (path == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  const platform::UniqueFd file = platform::SafeOpenOrCreate(path, O_RDONLY | O_NONBLOCK, 0644);
  if (!file) {
    TAVLIB_RECORD(kErrorOpen);
    return -1;
  }
  if (futimens(file.get(), nullptr) != 0) {
    TAVLIB_RECORD(kErrorWrite);
    return -1;
  }
  return 0;
}

int TAVLIBProcAliveByPidFile(const char* path) {
  if (path == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return 0;
  }
  const pid_t pid = ReadPid(path);
  return pid != 0 && IsAlive(pid) ? 1 : 0;
}

int TAVLIBFileLock(int id, int seconds) {
  const int lock = LockOf(id);
  HeldLock* const entry = FindFree();
  if (seconds < 0 || FindHeld(lock) != nullptr || entry == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  char path[64];
  snprintf(path, sizeof path, "/tmp/.tavlib.lock.%x", static_cast<unsigned>(lock));
  platform::UniqueFd file = platform::SafeOpenOrCreate(path, O_RDONLY | O_NONBLOCK, 0666);
  if (!file) {
    TAVLIB_RECORD(kErrorOpen);
    return -1;
  }
  if (!tavocore::LockWithin(file.get(), std::chrono::seconds(seconds))) {
    TAVLIB_RECORD(kErrorLock);
    return -1;
  }
  *entry = {.held = true, .lock = lock, .fd = file.release()};
  return 0;
}

int TAVLIBFileUnlock(int id) {
  HeldLock* const entry = FindHeld(LockOf(id));
  if (entry == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  // Released by name, not just by closing: a process that the host forked meanwhile may still have
  // the descriptor.
  const platform::UniqueFd file(entry->fd);
  entry->held = false;
  if (flock(file.get(), LOCK_UN) != 0) {
    TAVLIB_RECORD(kErrorLock);
    return -1;
  }
  return 0;
}
