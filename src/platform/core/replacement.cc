#include "platform/core/replacement.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>

#include "platform/core/bounded_wait.h"
#include "platform/core/record.h"
#include "platform/safe_open.h"

namespace tavocore {

namespace {

constexpr std::chrono::seconds kLockLimit{30};
constexpr size_t kFlushSize = size_t{64} * 1024;

// The directory part of a path, its slash included.
std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Returns the path of the file that `path` stands for, which may be missing. Below /tmp nothing is
// followed.
std::string FollowLinks(std::string path) {
  // As many as the kernel follows. What is a link even then (a loop) fails to open.
  constexpr int kMaxLinks = 40;
  for (int followed = 0; followed < kMaxLinks && !platform::IsBelowTmp(path.c_str()); ++followed) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length <= 0) break;
    path.resize(target[0] == '/' ? 0 : path.rfind('/') + 1);
    path.append(target, static_cast<size_t>(length));
  }
  return path;
}

}  // namespace

Replacement::~Replacement() {
  const platform::ErrnoKeeper keeper;
  // Released by name, not just by closing: a process that the host forked meanwhile may still have
  // the descriptor.
  if (locked_) flock(directory_.get(), LOCK_UN);
}

int Replacement::Open(const char* path) {
  const std::string target = FollowLinks(path);
  name_ = NameOf(target);
  below_tmp_ = platform::IsBelowTmp(target.c_str());
  if (const int error = OpenDirectory(DirectoryOf(target)); error != 0) return error;
  if (const int error = OpenOld(); error != 0) return error;
  // In the place of another file, it is closed to others until it has that one's owner.
  if (!new_.Create(directory_.get(), name_, old_ ? 0600 : 0644)) return kErrorOpen;
  return old_ ? KeepOwnerAndPermissions() : 0;
}

int Replacement::OpenDirectory(const std::string& path) {
  directory_ = platform::SafeOpen(path.c_str(), O_RDONLY | O_DIRECTORY);
  if (!directory_) return errno == ENOENT ? kErrorNoFile : kErrorOpen;
  locked_ = LockWithin(directory_.get(), kLockLimit);
  return locked_ ? 0 : kErrorLock;
}

int Replacement::OpenOld() {
  constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  old_ = platform::UniqueFd(
      platform::RetryOnSignal([&] { return openat(directory_.get(), name_.c_str(), kFlags); }));
  if (old_) return 0;
  return errno == ENOENT || (errno == ELOOP && below_tmp_) ? 0 : kErrorOpen;
}

int Replacement::KeepOwnerAndPermissions() {
  struct stat old {};
  if (fstat(old_.get(), &old) != 0) return kErrorRead;
  // Only a file can be replaced by one.
  if (!S_ISREG(old.st_mode)) return kErrorOpen;
  // The owner first: changing it takes the set-id bits away.
  if (fchown(new_.file().get(), old.st_uid, old.st_gid) != 0) return kErrorOpen;
  return fchmod(new_.file().get(), old.st_mode & 07777) == 0 ? 0 : kErrorOpen;
}

int Replacement::Write(std::string_view text) {
  pending_ += text;
  return pending_.size() < kFlushSize ? 0 : Flush();
}

int Replacement::Flush() {
  if (!new_.Write(pending_)) return kErrorWrite;
  pending_.clear();
  return 0;
}

int Replacement::Commit() {
  if (const int error = Flush(); error != 0) return error;
  // The data must be on the disk before the name is: a crash leaves the old text or the new.
  if (fsync(new_.file().get()) != 0) return kErrorWrite;
  if (!new_.MoveTo(name_.c_str())) return kErrorRename;
  // Some file systems cannot sync a directory; there the rename is as safe as it gets.
  return fsync(directory_.get()) == 0 || errno == EINVAL ? 0 : kErrorWrite;
}

}  // namespace tavocore
