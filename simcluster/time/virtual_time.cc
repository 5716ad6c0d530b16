#include "simcluster/time/virtual_time.h"

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace simcluster {
namespace {

using std::chrono::nanoseconds;

std::atomic<PauseHandler> pause_handler = nullptr;
std::atomic<nanoseconds::rep> stopped_clock = 0;

nanoseconds FromTimespec(const timespec& time) {
  return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

timespec ToTimespec(nanoseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  return {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
}

// The real calls, straight to the kernel: they stay clear of whatever else (a sanitizer) stands in
// for libc's.
int KernelClock(clockid_t clock, timespec* time) {
  return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
}

int KernelSleep(clockid_t clock, int flags, const timespec* request, timespec* remain) {
  const int saved = errno;
  const long result = syscall(SYS_clock_nanosleep, clock, flags, request, remain);
  const int error = result == 0 ? 0 : errno;
  errno = saved;
  return error;
}

}  // namespace

void SetPauseHandler(PauseHandler handler) {
  timespec now{};
  KernelClock(CLOCK_MONOTONIC, &now);
  stopped_clock = FromTimespec(now).count();
  pause_handler = handler;
}

}  // namespace simcluster

extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
  using namespace simcluster;
  if (clock != CLOCK_MONOTONIC || pause_handler == nullptr) return KernelClock(clock, time);
  *time = ToTimespec(nanoseconds(stopped_clock));
  return 0;
}

__attribute__((visibility("default"))) int clock_nanosleep(clockid_t clock, int flags,
                                                           const timespec* request,
                                                           timespec* remain) {
  using namespace simcluster;
  const PauseHandler handler = pause_handler;
  if (handler == nullptr) return KernelSleep(clock, flags, request, remain);

  nanoseconds length = FromTimespec(*request);
  if ((flags & TIMER_ABSTIME) != 0) {
    timespec now{};
    clock_gettime(clock, &now);
    length = std::max(length - FromTimespec(now), nanoseconds(0));
  }
  stopped_clock += length.count();
  handler(length);
  return 0;
}

}  // extern "C"
