#include "tests/tavohactl/run.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/support/files.h"

namespace test_support {

Outcome Tavohactl(const std::string& command_line, const std::string& before) {
  const int status = system(("exec </dev/null >/run/out 2>/run/err\n" + before +
                             "\n" TAVOHACTL_PROGRAM " " + command_line)
                                .c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile("/run/out"), ReadFile("/run/err")};
}

Outcome TavohactlAtTerminal(const std::string& command_line, const std::string& typed) {
  const int status = system(("printf '" + typed + "' | script -qec '" TAVOHACTL_PROGRAM " " +
                             command_line + "' /dev/null >/run/out")
                                .c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile("/run/out"), ""};
}

void StartHa() {
  WriteFile("/usr/tavo/tavoha/etc/ha.conf", "host0=\"nas-a\"\nhost1=\"nas-b\"\n");
  WriteFile("/tmp/.ha.running", "");
  for (const char* daemon : {"corosync", "pacemaker"}) {
    WriteFile(std::string("/usr/tavo/tavoha/var/run/") + daemon + ".pid", std::to_string(getpid()));
  }
}

}  // namespace test_support
