// The files of an appliance that most tests prescribe, and what it logged in short.
#ifndef TESTS_SUPPORT_APPLIANCE_H_
#define TESTS_SUPPORT_APPLIANCE_H_

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace test_support {

inline constexpr char kConfFile[] = "/usr/tavo/tavoha/etc/ha.conf";
inline constexpr char kMirrorFile[] = "/tmp/.ha.conf";

// Lets HA run on this node, or not.
inline void SetRunning(bool running) {
  unlink(running ? "/tmp/.ha.not.running" : "/tmp/.ha.running");
  WriteFile(running ? "/tmp/.ha.running" : "/tmp/.ha.not.running", "");
}

// Makes `lines` the configuration, with nothing mirrored yet.
inline void SetConf(std::string_view lines) {
  WriteFile(kConfFile, lines);
  unlink(kMirrorFile);
}

// Puts a plain file over one of this process's files in /proc, which the kernel may refuse to let
// anybody write.
inline void CoverProcFile(const std::string& name, const std::string& content) {
  const std::string file = "/run/" + name, path = "/proc/" + std::to_string(getpid()) + "/" + name;
  WriteFile(file, content);
  ASSERT_EQ(mount(file.c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0) << strerror(errno);
}

// Returns what was logged since the last time: "LEVEL module: body" of each line, "; " between.
inline std::string TakeLines(LogCapture& log) {
  std::string lines;
  for (const LogLine& line : log.Take()) {
    lines += (lines.empty() ? "" : "; ") + line.level + " " + line.module + ": " + line.body;
  }
  return lines;
}

}  // namespace test_support

#endif  // TESTS_SUPPORT_APPLIANCE_H_
