// The files of an appliance that most tests prescribe.
#ifndef TESTS_SUPPORT_APPLIANCE_H_
#define TESTS_SUPPORT_APPLIANCE_H_

#include <unistd.h>

#include <string_view>

#include "tests/support/files.h"

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

}  // namespace test_support

#endif  // TESTS_SUPPORT_APPLIANCE_H_
