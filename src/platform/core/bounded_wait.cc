#include "platform/core/bounded_wait.h"

#include <sys/file.h>
#include <time.h>

#include <cerrno>

namespace tavocore {

namespace {

std::chrono::nanoseconds Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

bool LockWithin(int fd, std::chrono::nanoseconds limit) {
  constexpr timespec kPollPause{.tv_sec = 0, .tv_nsec = 1'000'000};
  const std::chrono::nanoseconds end = Now() + limit;
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EINTR && (errno != EWOULDBLOCK || Now() >= end)) return false;
    clock_nanosleep(CLOCK_MONOTONIC, 0, &kPollPause, nullptr);
  }
  return true;
}

}  // namespace tavocore
