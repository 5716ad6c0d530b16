// Runs the real tavohactl in the private root.
#ifndef TESTS_TAVOHACTL_RUN_H_
#define TESTS_TAVOHACTL_RUN_H_

#include <string>

namespace test_support {

struct Outcome {
  int status;  // exit status, or -1 when it did not exit
  std::string output;
  std::string error;
};

// `command_line` is what a shell is given behind "tavohactl", after `before`, which runs first in
// the same shell.
Outcome Tavohactl(const std::string& command_line, const std::string& before = "");

// The same at a terminal, on which `typed` is typed. Output and error come together.
Outcome TavohactlAtTerminal(const std::string& command_line, const std::string& typed);

// Makes this root one on which HA and both cluster daemons run, as nas-a (host0) beside nas-b.
void StartHa();

}  // namespace test_support

#endif  // TESTS_TAVOHACTL_RUN_H_
