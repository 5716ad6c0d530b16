// A terminal taken over for a while: a blank screen of its own, on which keys are read one by one.
#ifndef TAVOHACTL_SCREEN_H_
#define TAVOHACTL_SCREEN_H_

#include <chrono>
#include <string>
#include <vector>

namespace tavohactl {

// There may be one at a time. When it goes, or a signal ends the program, the terminal is as it
// was.
class Screen {
 public:
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  // Shows the lines from the top, cut to the terminal's size. The first is set off from the rest.
  void Show(const std::vector<std::string>& lines) const;
  // Waits for a key, a change of the terminal's size or the time to pass. Returns the key, or 0.
  char WaitForKey(std::chrono::seconds time) const;

  // Whether there is a terminal to take over.
  static bool Possible();
};

}  // namespace tavohactl

#endif  // TAVOHACTL_SCREEN_H_
