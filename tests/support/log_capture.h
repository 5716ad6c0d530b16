// What the library logged: a real system logger's socket at /dev/log of the private root.
#ifndef TESTS_SUPPORT_LOG_CAPTURE_H_
#define TESTS_SUPPORT_LOG_CAPTURE_H_

#include <gmock/gmock.h>
#include <sys/types.h>

#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "simcluster/root/descriptor.h"

namespace test_support {

// "<11>Nov  9 12:00:00 tag[pid]: [HA-level] module:line: body". A line that does not have the form
// after the tag has all of that as its body and no level, module and line.
struct LogLine {
  int priority = -1;  // facility bits included, as LOG_USER | LOG_ERR
  std::string tag;
  pid_t pid = 0;
  std::string level;
  std::string module;
  int line = 0;
  std::string body;
};

void PrintTo(const LogLine& line, std::ostream* out);

// While one lives, it takes every line that any process in the root logs, as fast as they come: the
// kernel holds only a few for a logger that is slow, and then makes the library wait.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Returns the lines since the last call, in order: all that were logged before this call.
  std::vector<LogLine> Take();

 private:
  void Drain();  // with mutex_ held

  simcluster::Descriptor socket_;
  simcluster::Descriptor stop_;
  std::mutex mutex_;
  std::vector<LogLine> lines_;
  std::thread reader_;
};

// Matches a line by its level word (with the priority that belongs to it), module and body:
//   EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument")));
// The body may be a matcher: Logged("INFO", "node", HasSubstr("crmst")).
testing::Matcher<const LogLine&> Logged(const std::string& level, const std::string& module,
                                        const testing::Matcher<const std::string&>& body);

}  // namespace test_support

#endif  // TESTS_SUPPORT_LOG_CAPTURE_H_
