// Hours in milliseconds: the library's pauses return at once, are counted and measured, and a test
// can change the world while the library "sleeps".
#ifndef TESTS_SUPPORT_VIRTUAL_CLOCK_H_
#define TESTS_SUPPORT_VIRTUAL_CLOCK_H_

#include <cstddef>
#include <functional>
#include <vector>

namespace test_support {

// While one lives, CLOCK_MONOTONIC stands still but for the pauses (clock_nanosleep), which return
// at once and move it by their length, for all code in the test's process. At most one lives at a
// time; without one, time is real. Programs that are run, and waits for an event, take real time.
class VirtualClock {
 public:
  // `on_pause` is called at each pause with its number (1 is the first), in the pausing thread. It
  // may be called from several threads, but never from two at once.
  explicit VirtualClock(std::function<void(size_t number)> on_pause = {});
  ~VirtualClock();
  VirtualClock(const VirtualClock&) = delete;
  VirtualClock& operator=(const VirtualClock&) = delete;

  // The lengths of the pauses so far, in seconds. A pause until a moment has the length that was
  // left to it.
  std::vector<double> pauses() const;
};

}  // namespace test_support

#endif  // TESTS_SUPPORT_VIRTUAL_CLOCK_H_
