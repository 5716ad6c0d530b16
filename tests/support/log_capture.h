// What the library logged: a real system logger's socket at /dev/log of the private root.
#ifndef TESTS_SUPPORT_LOG_CAPTURE_H_
#define TESTS_SUPPORT_LOG_CAPTURE_H_

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simcluster/root/descriptor.h"

namespace test_support {

// While one lives, it takes every line that any process in the root logs, as fast as they come: the
// kernel holds only a few for a logger that is slow, and then makes the library wait.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Returns the lines since the last call, in order: all that were logged before this call, each as
  // "LEVEL module: body" with "; " between them. One that is not logged as all must be ("[HA-level]
  // module:line: body" with the level's priority, the facility and the process's id) stands there
  // as it came. For one `module` alone, the lines are "LEVEL body", and others are forgotten.
  std::string Take(const std::string& module = "");

 private:
  void Drain();  // with mutex_ held

  simcluster::Descriptor socket_;
  std::mutex mutex_;
  std::vector<std::string> datagrams_;
  std::thread reader_;
};

}  // namespace test_support

#endif  // TESTS_SUPPORT_LOG_CAPTURE_H_
