#include "platform/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <utility>

namespace platform {

namespace {

// Keeps the exit statuses of our programs from being thrown away while any of them runs.
class StatusKeeper {
 public:
  void Enter() {
    const std::lock_guard lock(mutex_);
    ++programs_;
    struct sigaction current {};
    sigaction(SIGCHLD, nullptr, &current);
    if (!ThrowsStatusAway(current)) return;
    host_ = current;
    struct sigaction keeping = current;
    if (keeping.sa_handler == SIG_IGN) keeping.sa_handler = SIG_DFL;
    keeping.sa_flags &= ~SA_NOCLDWAIT;
    sigaction(SIGCHLD, &keeping, nullptr);
    lifted_ = true;
  }

  void Leave() {
    const std::lock_guard lock(mutex_);
    if (--programs_ > 0 || !std::exchange(lifted_, false)) return;
    struct sigaction current {};
    sigaction(SIGCHLD, nullptr, &current);
    // A host that has set another disposition meanwhile wants that one.
    const auto host_handler = host_.sa_handler == SIG_IGN ? SIG_DFL : host_.sa_handler;
    if (current.sa_handler != host_handler || (current.sa_flags & SA_NOCLDWAIT) != 0) return;
    sigaction(SIGCHLD, &host_, nullptr);
    // Children of the host that ended meanwhile would have gone without a trace.
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
  }

 private:
  static bool ThrowsStatusAway(const struct sigaction& action) {
    return action.sa_handler == SIG_IGN || (action.sa_flags & SA_NOCLDWAIT) != 0;
  }

  std::mutex mutex_;
  int programs_ = 0;
  bool lifted_ = false;
  struct sigaction host_ {};
};

constinit StatusKeeper status_keeper;

// Moves a descriptor out of the way of 0 to 2, which a host may have closed. Returns false with
// errno on failure.
bool MoveUp(UniqueFd* fd) {
  if (fd->get() > STDERR_FILENO) return true;
  fd->reset(fcntl(fd->get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return static_cast<bool>(*fd);
}

bool MakePipe(UniqueFd* read_end, UniqueFd* write_end) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  read_end->reset(ends[0]);
  write_end->reset(ends[1]);
  return MoveUp(read_end) && MoveUp(write_end);
}

// What a new program's descriptors are. Each call returns 0 or an error number.
class FileActions {
 public:
  FileActions() : error_(posix_spawn_file_actions_init(&actions_)) {}
  ~FileActions() {
    if (initialized_) posix_spawn_file_actions_destroy(&actions_);
  }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void OpenNull(int fd, int flags) {
    if (error_ == 0) {
      error_ = posix_spawn_file_actions_addopen(&actions_, fd, "/dev/null", flags, 0);
    }
  }
  void Duplicate(int fd, int to) {
    if (error_ == 0) error_ = posix_spawn_file_actions_adddup2(&actions_, fd, to);
  }
  void CloseFrom(int fd) {
    if (error_ == 0) error_ = posix_spawn_file_actions_addclosefrom_np(&actions_, fd);
  }
  int error() const { return error_; }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
  int error_;
  const bool initialized_ = error_ == 0;
};

// A new program's signals: none blocked, all with the system's defaults.
class CleanSignals {
 public:
  CleanSignals() : error_(posix_spawnattr_init(&attributes_)) {
    if (error_ != 0) return;
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes_, &none);
    // Every bit, not sigfillset: that leaves out the signals that libc uses itself, and those it
    // would then have the program ignore.
    sigset_t all;
    memset(&all, 0xff, sizeof all);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~CleanSignals() {
    if (error_ == 0) posix_spawnattr_destroy(&attributes_);
  }
  CleanSignals(const CleanSignals&) = delete;
  CleanSignals& operator=(const CleanSignals&) = delete;

  int error() const { return error_; }
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
  const int error_;
};

// Returns 0 or an error number.
int Spawn(pid_t* pid, const char* path, const char* const argv[], char* const envp[], int output) {
  FileActions files;
  files.OpenNull(STDIN_FILENO, O_RDONLY);
  if (output >= 0) {
    files.Duplicate(output, STDOUT_FILENO);
  } else {
    files.OpenNull(STDOUT_FILENO, O_WRONLY);
  }
  files.OpenNull(STDERR_FILENO, O_WRONLY);
  files.CloseFrom(STDERR_FILENO + 1);
  if (files.error() != 0) return files.error();
  const CleanSignals signals;
  if (signals.error() != 0) return signals.error();
  return posix_spawn(pid, path, files.get(), signals.get(), const_cast<char* const*>(argv), envp);
}

}  // namespace

Process::~Process() {
  const ErrnoKeeper keeper;
  if (pid_ != -1) Wait();
}

bool Process::Start(const char* path, const char* const argv[], char* const envp[],
                    UniqueFd* output) {
  UniqueFd write_end;
  if (output != nullptr && !MakePipe(output, &write_end)) return false;
  status_keeper.Enter();
  const int error = Spawn(&pid_, path, argv, envp, write_end.get());
  if (error == 0) return true;
  status_keeper.Leave();
  pid_ = -1;
  errno = error;
  return false;
}

int Process::Wait() {
  if (pid_ == -1) {
    errno = ECHILD;
    return -1;
  }
  int status = 0;
  const pid_t waited = RetryOnSignal([&] { return waitpid(pid_, &status, 0); });
  {
    const ErrnoKeeper keeper;
    status_keeper.Leave();
  }
  pid_ = -1;
  return waited == -1 ? -1 : status;
}

}  // namespace platform
