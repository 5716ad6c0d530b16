#include "frame/pause.h"

#include <time.h>

#include <cerrno>

namespace frame {

void Pause(std::chrono::nanoseconds length) {
  using std::chrono::nanoseconds;
  using std::chrono::seconds;
  constexpr long kNanosecondsInSecond = nanoseconds(seconds(1)).count();

  // Until a fixed moment, so that being woken again and again does not stretch the pause.
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += length.count() / kNanosecondsInSecond;
  end.tv_nsec += length.count() % kNanosecondsInSecond;
  if (end.tv_nsec >= kNanosecondsInSecond) {
    end.tv_nsec -= kNanosecondsInSecond;
    ++end.tv_sec;
  }
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
  }
}

}  // namespace frame
