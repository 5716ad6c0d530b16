// What the platform and the system hand out, each as a scope that gives it back.
#ifndef PLATFORM_HANDLES_H_
#define PLATFORM_HANDLES_H_

#include <stdio.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "platform/tavlib.h"

namespace platform {

// Keeps errno as it was found: cleaning up must not hide why the work failed.
class ErrnoKeeper {
 public:
  ErrnoKeeper() : saved_(errno) {}
  ~ErrnoKeeper() { errno = saved_; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  int saved_;
};

// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto RetryOnSignal(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

// A file descriptor.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueFd() { reset(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  int release() { return std::exchange(fd_, -1); }
  void reset(int fd = -1) {
    if (fd_ >= 0) {
      const ErrnoKeeper keeper;
      close(fd_);
    }
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

struct StreamCloser {
  void operator()(FILE* stream) const {
    const ErrnoKeeper keeper;
    fclose(stream);
  }
};
using UniqueStream = std::unique_ptr<FILE, StreamCloser>;

// A list and a map of the platform. Operations that may replace them take address().
class SzList {
 public:
  SzList() : list_(TAVLIBSzListAlloc(1024)) {}
  ~SzList() {
    if (list_ != nullptr) TAVLIBSzListFree(list_);
  }
  SzList(const SzList&) = delete;
  SzList& operator=(const SzList&) = delete;

  explicit operator bool() const { return list_ != nullptr; }
  TAVLIBSZLIST* get() const { return list_; }
  TAVLIBSZLIST** address() { return &list_; }

 private:
  TAVLIBSZLIST* list_;
};

class SzHash {
 public:
  SzHash() : hash_(TAVLIBSzHashAlloc(1024)) {}
  ~SzHash() {
    if (hash_ != nullptr) TAVLIBSzHashFree(hash_);
  }
  SzHash(const SzHash&) = delete;
  SzHash& operator=(const SzHash&) = delete;

  explicit operator bool() const { return hash_ != nullptr; }
  TAVLIBSZHASH* get() const { return hash_; }
  TAVLIBSZHASH** address() { return &hash_; }

 private:
  TAVLIBSZHASH* hash_;
};

// The output of a running tool. Its end is waited for at the latest when this goes out of scope.
class ToolOutput {
 public:
  explicit ToolOutput(FILE* stream) : stream_(stream) {}
  ~ToolOutput() {
    if (stream_ != nullptr) TAVLIBPclose(stream_);
  }
  ToolOutput(const ToolOutput&) = delete;
  ToolOutput& operator=(const ToolOutput&) = delete;

  // Whether the tool could be started.
  explicit operator bool() const { return stream_ != nullptr; }
  FILE* stream() const { return stream_; }
  // Waits for the tool and returns its wait status, or -1.
  int Close() { return TAVLIBPclose(std::exchange(stream_, nullptr)); }

 private:
  FILE* stream_;
};

}  // namespace platform

#endif  // PLATFORM_HANDLES_H_
