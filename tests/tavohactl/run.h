// Runs the real tavohactl in the private root.
#ifndef TESTS_TAVOHACTL_RUN_H_
#define TESTS_TAVOHACTL_RUN_H_

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "tests/support/test.h"

namespace test_support {

using nlohmann::json;

struct Outcome {
  int status;  // exit status, or -1 when it did not exit
  std::string output, error;
};

// `command_line` is what a shell is given behind "tavohactl", after `before`, which runs first in
// the same shell.
inline Outcome Tavohactl(const std::string& command_line, const std::string& before = "") {
  const int status = system(("exec </dev/null >/run/out 2>/run/err\n" + before +
                             "\n" TAVOHACTL_PROGRAM " " + command_line)
                                .c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile("/run/out"), ReadFile("/run/err")};
}
inline json TavohactlJson(const std::string& command_line, const std::string& before = "") {
  return json::parse(Tavohactl(command_line + " --json", before).output);
}

struct Case {
  std::string before, command_line;
  int status;
  std::string output, error;  // what stands in the error
};

// Runs the cases one after another.
inline void ExpectOutcomes(const std::vector<Case>& cases) {
  for (const auto& [before, command_line, status, output, error] : cases) {
    SCOPED_TRACE(before + "; tavohactl " + command_line);
    const Outcome outcome = Tavohactl(command_line, before);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.output, output);
    EXPECT_THAT(outcome.error, HasSubstr(error));
    EXPECT_EQ(outcome.error.empty(), error.empty()) << outcome.error;
  }
}

}  // namespace test_support

#endif  // TESTS_TAVOHACTL_RUN_H_
