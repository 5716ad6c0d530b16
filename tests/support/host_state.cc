#include "tests/support/host_state.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tests/support/files.h"

namespace test_support {

HostState HostState::Now(const std::vector<std::string>& directories) {
  namespace fs = std::filesystem;
  constexpr int kIoPriorityOfProcess = 1;
  HostState state;
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const std::string target = fs::read_symlink(entry, gone);
    // Not the one that lists them.
    if (!target.ends_with("/fd")) {
      state.insert("descriptor " + entry.path().filename().string() + " of " + target);
    }
  }
  for (const auto& entry : fs::directory_iterator("/proc", gone)) {
    const std::string id = entry.path().filename();
    if (atoi(id.c_str()) == 0) continue;
    const std::string stat = ReadFile(entry.path() / "stat");
    // "PID (NAME) STATE PARENT ..."; a name may hold blanks and parentheses.
    const size_t close = stat.rfind(')');
    char status = 0;
    int parent = 0;
    if (close != std::string::npos &&
        sscanf(stat.c_str() + close + 1, " %c %d", &status, &parent) == 2 && parent == getpid()) {
      state.insert("child " + stat.substr(0, close + 1) + " " + status);
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
