#include "tests/support/host_state.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "tests/support/files.h"

namespace test_support {
namespace {

namespace fs = std::filesystem;

constexpr int kIoPriorityOfProcess = 1;

std::map<int, std::string> Descriptors() {
  std::map<int, std::string> descriptors;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc/self/fd"), closedir);
  while (const dirent* entry = readdir(directory.get())) {
    const int fd = atoi(entry->d_name);
    if (entry->d_name[0] == '.' || fd == dirfd(directory.get())) continue;
    std::error_code ignored;
    descriptors[fd] = fs::read_symlink(std::string("/proc/self/fd/") + entry->d_name, ignored);
  }
  return descriptors;
}

std::set<std::string> Children() {
  std::set<std::string> children;
  std::error_code gone;  // processes of others come and go
  for (const auto& entry : fs::directory_iterator("/proc", gone)) {
    std::string id = entry.path().filename();
    if (atoi(id.c_str()) == 0) continue;
    const std::string stat = ReadFile(entry.path() / "stat");
    // "PID (NAME) STATE PARENT ..."; a name may hold blanks and parentheses.
    const size_t open = stat.find('('), close = stat.rfind(')');
    char state = 0;
    int parent = 0;
    if (close == std::string::npos ||
        sscanf(stat.c_str() + close + 1, " %c %d", &state, &parent) != 2 || parent != getpid()) {
      continue;
    }
    children.insert(id.append({' ', state, ' '}).append(stat, open + 1, close - open - 1));
  }
  return children;
}

}  // namespace

HostState HostState::Now(const std::vector<std::string>& directories) {
  HostState state;
  state.descriptors = Descriptors();
  state.children = Children();
  state.nice = getpriority(PRIO_PROCESS, 0);
  state.io_priority = static_cast<int>(syscall(SYS_ioprio_get, kIoPriorityOfProcess, 0));
  state.oom_score_adj = ReadFile("/proc/self/oom_score_adj");
  for (const std::string& directory : directories) {
    for (const std::string& name : ListDirectory(directory)) {
      state.files.insert(fs::path(directory) / name);
    }
  }
  return state;
}

void PrintTo(const HostState& state, std::ostream* out) {
  using testing::PrintToString;
  *out << "\n  descriptors " << PrintToString(state.descriptors) << "\n  children "
       << PrintToString(state.children) << "\n  nice " << state.nice << ", I/O priority "
       << state.io_priority << ", OOM " << state.oom_score_adj << "  files "
       << PrintToString(state.files);
}

}  // namespace test_support
