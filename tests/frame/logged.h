// For tests of operations that log: what a call came to, in one text.
#ifndef TESTS_FRAME_LOGGED_H_
#define TESTS_FRAME_LOGGED_H_

#include "tests/support/test.h"

namespace test_support {

class Logged : public Test {
 protected:
  // A call's result, and behind it the lines that were logged since the last look.
  std::string Outcome(int result) {
    const std::string lines = log.Take();
    return std::to_string(result) + (lines.empty() ? "" : " ") + lines;
  }

  LogCapture log;
};

}  // namespace test_support

#endif  // TESTS_FRAME_LOGGED_H_
