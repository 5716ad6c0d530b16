#include "platform/temporary_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace platform {

namespace {

bool RandomSuffix(char (&suffix)[6]) {
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  unsigned char random[sizeof suffix];
  if (RetryOnSignal([&] { return getrandom(random, sizeof random, 0); }) != sizeof random) {
    return false;
  }
  for (size_t i = 0; i < sizeof suffix; ++i) suffix[i] = kLetters[random[i] % kLetters.size()];
  return true;
}

}  // namespace

TemporaryFile::~TemporaryFile() {
  const ErrnoKeeper keeper;
  if (name_[0] != '\0') unlinkat(directory_, name_, 0);
}

bool TemporaryFile::Create(int directory, std::string_view name, mode_t mode) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  constexpr int kAttempts = 100;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    char suffix[6];
    char unique[sizeof name_];
    if (!RandomSuffix(suffix)) return false;
    const int length = snprintf(unique, sizeof unique, "%.*s.%.*s", static_cast<int>(name.size()),
                                name.data(), static_cast<int>(sizeof suffix), suffix);
    if (length < 0 || static_cast<size_t>(length) >= sizeof unique) {
      errno = ENAMETOOLONG;
      return false;
    }
    file_ = UniqueFd(RetryOnSignal([&] { return openat(directory, unique, kFlags, mode); }));
    if (file_) {
      directory_ = directory;
      snprintf(name_, sizeof name_, "%s", unique);
      return true;
    }
    if (errno != EEXIST) return false;
  }
  return false;
}

bool TemporaryFile::Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written =
        RetryOnSignal([&] { return write(file_.get(), text.data(), text.size()); });
    if (written <= 0) return false;
    text.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool TemporaryFile::MoveTo(const char* name) {
  if (renameat(directory_, name_, directory_, name) != 0) return false;
  name_[0] = '\0';
  return true;
}

}  // namespace platform
