#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
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

// Opens a file to look at it or to lock it; nothing planted there can make this wait.
platform::UniqueFd OpenExisting(const char* path) {
  return platform::SafeOpen(path, O_RDONLY | O_NONBLOCK);
}

// Reads the start of a small file into `text`; empty when that fails.
template <size_t kSize>
std::string_view ReadStart(const char* path, char (&text)[kSize]) {
  const platform::UniqueFd file = OpenExisting(path);
  if (!file) return {};
  const ssize_t length = platform::RetryOnSignal([&] { return read(file.get(), text, kSize); });
  return length < 0 ? std::string_view() : std::string_view(text, static_cast<size_t>(length));
}

// Returns the process id that the file holds, or 0.
pid_t ReadPid(const char* path) {
  char buffer[64];
  const std::string_view text = tavocore::Trimmed(ReadStart(path, buffer));
  pid_t pid = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, pid);
  return error == std::errc() && rest == end && pid > 0 ? pid : 0;
}

bool IsZombie(pid_t pid) {
  char path[32];
  snprintf(path, sizeof path, "/proc/%d/stat", pid);
  char buffer[128];
  const std::string_view stat = ReadStart(path, buffer);
  // The state follows the program's name, which stands in parentheses and may hold any.
  const size_t name_end = stat.rfind(')');
  return name_end != std::string_view::npos && stat.substr(name_end).starts_with(") Z");
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
  if (pid == 0) return 0;
  if (kill(pid, 0) != 0 && errno != EPERM) return 0;
  return IsZombie(pid) ? 0 : 1;
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
