#include "tests/support/host_state.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <regex>

#include "tests/support/files.h"

namespace test_support {

HostState HostState::Now(const std::vector<std::string>& directories) {
  constexpr int kIoPriorityOfProcess = 1;
  HostState state;
  for (const std::string& open : OpenDescriptors()) state.insert("descriptor " + open);
  for (const std::string& name : ListDirectory("/proc")) {
    const std::string stat = ReadFile("/proc/" + name + "/stat");
    // "PID (NAME) STATE PARENT ..."; a name may hold blanks and parentheses.
    static const std::regex form("(\\d+ \\(.*\\) \\w) (\\d+) [^)]*");
    std::smatch parts;
    if (std::regex_match(stat, parts, form) && std::stoi(parts[2]) == getpid()) {
      state.insert("child " + parts[1].str());
    }
  }
  state.insert("nice " + std::to_string(getpriority(PRIO_PROCESS, 0)));
  state.insert("I/O " + std::to_string(syscall(SYS_ioprio_get, kIoPriorityOfProcess, 0)));
  state.insert("OOM " + ReadFile("/proc/self/oom_score_adj"));
  for (const std::string& directory : directories) {
    for (const std::string& name : ListDirectory(directory)) {
      state.insert("file " + directory + "/" + name);
    }
  }
  return state;
}

}  // namespace test_support
