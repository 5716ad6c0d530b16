// A file descriptor as a scope.
#ifndef SIMCLUSTER_ROOT_DESCRIPTOR_H_
#define SIMCLUSTER_ROOT_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

namespace simcluster {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() { Close(); }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void Close() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
  }

 private:
  int fd_ = -1;
};

}  // namespace simcluster

#endif  // SIMCLUSTER_ROOT_DESCRIPTOR_H_
