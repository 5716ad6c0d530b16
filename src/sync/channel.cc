#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <tavohacore/sync.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "frame/contain.h"
#include "frame/pause.h"
#include "platform/handles.h"
#include "platform/safe_open.h"

namespace {

constexpr char kCommandFifo[] = "/tmp/ha.lsyncd.fifoCmd";
constexpr char kDataFifo[] = "/tmp/ha.lsyncd.fifoData";
constexpr char kLockFile[] = "/tmp/ha.lsyncd.lock";
constexpr char kPidFile[] = "/var/run/ha/lsyncd.pid";

constexpr size_t kLineSize = 256;
constexpr int kReplySeconds = 2;
constexpr int kEmptyReads = 50;  // for one line
constexpr auto kEmptyReadPause = std::chrono::microseconds(100);
// How often a lock file that was removed under our hands is looked for again.
constexpr int kLockAttempts = 16;

bool IsLockFile(int fd) {
  struct stat opened {};
  struct stat named {};
  return fstat(fd, &opened) == 0 && lstat(kLockFile, &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Locks the open lock file without waiting. Returns false with errno.
bool TryLock(int fd) {
  return platform::RetryOnSignal([&] { return flock(fd, LOCK_EX | LOCK_NB); }) == 0;
}

// Takes the exchange lock and leaves its descriptor in `lock`. The exchange before ours may remove
// the file between our opening and our locking it; a lock on a file that has no name any more keeps
// nobody out, so only one on the file that others will find counts.
int TakeLock(int& lock) {
  for (int attempt = 1;; ++attempt) {
    lock = platform::SafeOpenOrCreate(kLockFile, O_RDWR, 0660).release();
    if (lock == -1) return LSYNCD_ERR_LOCK_OPEN;
    if (!TryLock(lock)) return errno == EAGAIN ? LSYNCD_ERR_BUSY : LSYNCD_ERR_LOCK;
    if (IsLockFile(lock)) return 0;
    if (attempt == kLockAttempts) return LSYNCD_ERR_BUSY;
    close(lock);
  }
}

// Removes the lock file if the lock is ours or nobody's. This comes before the lock is released:
// the file may be another exchange's at any moment after.
int RemoveLockFile(int lock) {
  if (!TryLock(lock)) return -1;
  if (!IsLockFile(lock)) {
    errno = ENOENT;
    return -1;
  }
  return unlink(kLockFile);
}

ssize_t Read(int fd, void* buffer, size_t size) {
  return platform::RetryOnSignal([&] { return read(fd, buffer, size); });
}

// Writes one byte into a pipe whose reader may be gone, without the signal that this would send to
// the host program.
void WriteByte(int fd, char byte) {
  sigset_t pipe_signal;
  sigset_t pending;
  sigset_t mask;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe_signal, &mask);
  sigpending(&pending);
  const bool was_pending = sigismember(&pending, SIGPIPE) == 1;
  const ssize_t written = platform::RetryOnSignal([&] { return write(fd, &byte, 1); });
  if (written == -1 && errno == EPIPE && !was_pending) {
    const timespec at_once{};
    platform::RetryOnSignal([&] { return sigtimedwait(&pipe_signal, nullptr, &at_once); });
  }
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

// Waits until the descriptor can be read. Returns pselect's result.
int WaitUntilReadable(int fd) {
  // As many sets as it takes: a host may have more files open than one holds.
  std::vector<fd_set> sets(static_cast<size_t>(fd) / FD_SETSIZE + 1);
  FD_SET(fd % FD_SETSIZE, &sets.back());
  const timespec limit{.tv_sec = kReplySeconds, .tv_nsec = 0};
  return pselect(fd + 1, sets.data(), nullptr, nullptr, &limit, nullptr);
}

}  // namespace

int SendCmd(char command, char* buffer, unsigned long size, int& lock) {
  if (TAVLIBProcAliveByPidFile(kPidFile) != 1) return LSYNCD_ERR_NOT_RUNNING;
  if (const int error = TakeLock(lock); error != 0) return error;
  {
    const platform::UniqueFd data = platform::SafeOpen(kDataFifo, O_RDONLY | O_NONBLOCK);
    if (!data) return LSYNCD_ERR_DATA_FIFO;
    // What an exchange that was broken off has left.
    while (Read(data.get(), buffer, size) > 0) {
    }
  }
  const platform::UniqueFd commands = platform::SafeOpen(kCommandFifo, O_WRONLY | O_NONBLOCK);
  if (!commands) return LSYNCD_ERR_CMD_FIFO;
  WriteByte(commands.get(), command);
  return 0;
}

int GetDataPipe(int& data) {
  data = platform::SafeOpen(kDataFifo, O_RDONLY | O_NONBLOCK).release();
  if (data == -1) return LSYNCD_ERR_DATA_FIFO;
  const int ready = frame::Contain(-1, [&] { return WaitUntilReadable(data); });
  if (ready == -1) return LSYNCD_ERR_SELECT;
  return ready == 0 ? LSYNCD_ERR_NO_REPLY : 0;
}

int ReadLine(int data, char* buffer, int size) {
  char line[kLineSize] = {};
  size_t length = 0;
  int empty_reads = 0;
  for (;;) {
    char byte;
    const ssize_t count = Read(data, &byte, 1);
    if (count == 1) {
      if (byte == '\n') break;
      if (length < sizeof line - 1) line[length++] = byte;
    } else if (count == 0 || errno != EAGAIN) {
      return LSYNCD_ERR_READ;
    } else {
      frame::Pause(kEmptyReadPause);
      if (++empty_reads == kEmptyReads) return LSYNCD_ERR_LINE_TIMEOUT;
    }
  }
  if (buffer != nullptr && size > 0) strncpy(buffer, line, static_cast<size_t>(size));
  return 0;
}

int SystemSyncInit(char command, char* buffer, unsigned long size, int& data, int& count,
                   int& lock) {
  if (const int error = SendCmd(command, buffer, size, lock); error != 0) return error;
  if (const int error = GetDataPipe(data); error != 0) return error;
  const size_t line_size = std::min<size_t>(size, INT_MAX);
  if (const int error = ReadLine(data, buffer, static_cast<int>(line_size)); error != 0) {
    return error;
  }
  // A small buffer that the line fills has no terminator.
  char number[kLineSize] = {};
  if (buffer != nullptr) strncpy(number, buffer, std::min(line_size, sizeof number - 1));
  count = static_cast<int>(strtol(number, nullptr, 10));
  return 0;
}

int SystemSyncExit(int data, int lock) {
  if (data != -1) close(data);
  const platform::UniqueFd file(lock != -1 ? lock
                                           : platform::SafeOpen(kLockFile, O_RDWR).release());
  if (!file) return -1;
  const int result = RemoveLockFile(file.get());
  const platform::ErrnoKeeper keeper;
  // Not left to the closing: a child of the host may have a copy of the descriptor.
  flock(file.get(), LOCK_UN);
  return result;
}

int HASystemSyncCheckConsistency() {
  char buffer[kLineSize];
  int lock = -1;
  const int result = SendCmd(LSYNCD_CMD_CHECK_CONSISTENCY, buffer, sizeof buffer, lock);
  if (lock != -1) SystemSyncExit(-1, lock);
  return result;
}
