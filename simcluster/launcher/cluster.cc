#include "simcluster/launcher/cluster.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "simcluster/cib/cib_file.h"
#include "simcluster/cib/resources.h"
#include "simcluster/launcher/node_files.h"
#include "simcluster/launcher/node_keeper.h"
#include "simcluster/messages/messages.h"
#include "simcluster/placement/settle.h"
#include "simcluster/root/system_failure.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

// Moves the calling process into the keeper's node; the processes that it forks then are in its
// process namespace too.
void Enter(const Descriptor& keeper, pid_t id) {
  int namespaces = CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWNET | CLONE_NEWPID;
  const std::string theirs = "/proc/" + std::to_string(id) + "/ns/user";
  const bool own_users = !fs::equivalent("/proc/self/ns/user", theirs);
  if (own_users) namespaces |= CLONE_NEWUSER;
  if (setns(keeper.get(), namespaces) != 0) Throw("cannot enter the node");
  if (own_users && (setgid(0) != 0 || setuid(0) != 0)) Throw("cannot become root in the node");
}

std::string ReadIfThere(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

[[noreturn]] void Execute(const std::vector<std::string>& command) {
  std::vector<char*> arguments(command.size() + 1);  // a null pointer ends them
  std::ranges::transform(command, arguments.begin(), [](const std::string& argument) {
    return const_cast<char*>(argument.c_str());
  });
  close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
  execvp(arguments[0], arguments.data());
  dprintf(STDERR_FILENO, "simcluster: cannot run %s: %s\n", arguments[0], strerror(errno));
  _exit(errno == ENOENT ? 127 : 126);
}

}  // namespace

std::string Cluster::DefaultDirectory() {
  if (const char* runtime = getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime != '\0') {
    return std::string(runtime) + "/simcluster";
  }
  return "/tmp/simcluster-" + std::to_string(geteuid());
}

const NodeName& Cluster::FindNode(std::string_view name) {
  for (const NodeName& node : kNodes) {
    if (name == node.selector || name == node.host_name) return node;
  }
  throw std::runtime_error("no such node: " + std::string(name) +
                           " (there are host0 or nas-a, and host1 or nas-b)");
}

Descriptor Cluster::OpenKeeper(const NodeName& node) const {
  const std::string path = NodeDirectory(node) + "/keeper";
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  // Whoever gets the lock has found a file whose keeper is gone.
  if (!file || flock(file.get(), LOCK_SH | LOCK_NB) == 0) return {};
  pid_t id = 0;
  std::ifstream(path) >> id;
  return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, id, 0)));
}

bool Cluster::IsRunning() const {
  return std::ranges::any_of(kNodes,
                             [this](const NodeName& node) { return bool{OpenKeeper(node)}; });
}

void Cluster::Start() const {
  if (IsRunning()) throw std::runtime_error("a cluster runs in " + directory_ + " already");
  Stop();  // what a machine that went down left of one
  if (mkdir(directory_.c_str(), 0700) != 0) Throw("cannot create " + directory_);
  try {
    fs::create_directories(SharedDirectory());
    for (const NodeName& node : kNodes) fs::create_directories(NodeDirectory(node));
    for (const ClusterTool& tool : kClusterTools) PlaceTool(SharedDirectory(), tool.name, true);
    ClusterState::Change(SharedDirectory(), [](ClusterState* state) {
      for (const NodeName& node : kNodes)
        state->nodes.push_back({.name = node.host_name, .id = node.id});
    });
    Settle();
    if (const std::string wrong = StartKeepers(*this); !wrong.empty()) {
      throw std::runtime_error(wrong);
    }
  } catch (...) {
    Stop();
    throw;
  }
}

void Cluster::Stop() const {
  for (const NodeName& node : kNodes) {
    const Descriptor keeper = OpenKeeper(node);
    if (!keeper) continue;
    if (syscall(SYS_pidfd_send_signal, keeper.get(), SIGKILL, nullptr, 0) != 0) {
      Throw("cannot stop " + node.selector);
    }
    pollfd ended = {keeper.get(), POLLIN, 0};
    while (poll(&ended, 1, -1) < 0 && errno == EINTR) {
    }
  }
  // Only what Start made, should the directory be the wrong one.
  std::error_code error;
  fs::remove_all(SharedDirectory(), error);
  for (const NodeName& node : kNodes) fs::remove_all(NodeDirectory(node), error);
  if (rmdir(directory_.c_str()) != 0 && errno != ENOENT) Throw("cannot remove " + directory_);
}

void Cluster::Run(const NodeName& node, const std::vector<std::string>& command) const {
  pid_t keeper_id = 0;
  const Descriptor keeper = OpenKeeper(node);
  std::ifstream(NodeDirectory(node) + "/keeper") >> keeper_id;
  if (!keeper) throw std::runtime_error("no cluster runs in " + directory_ + ": start one first");

  std::error_code none;
  const fs::path working_directory = fs::current_path(none);
  Enter(keeper, keeper_id);
  const pid_t child = fork();
  if (child < 0) Throw("cannot fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (chdir(working_directory.c_str()) != 0 && chdir("/") != 0) _exit(126);
    setenv("HOME", "/root", 1);
    Execute(command);
  }
  // A terminal's interrupt is meant for the command.
  signal(SIGINT, SIG_IGN);
  signal(SIGQUIT, SIG_IGN);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  _exit(WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status));
}

std::string Cluster::Log(const NodeName& node) const {
  if (!fs::exists(NodeDirectory(node)))
    throw std::runtime_error("no cluster runs in " + directory_);
  return ReadIfThere(NodeDirectory(node) + "/log");
}

std::string Cluster::Journal(const NodeName& node) const {
  return ReadIfThere(SharedDirectory() + "/journal/" + node.host_name);
}

std::string Cluster::Messages(const NodeName& node) const {
  std::set<fs::path> files;
  std::error_code none;
  for (const auto& entry :
       fs::directory_iterator(SpoolPath(SharedDirectory(), node.host_name), none)) {
    if (entry.path().filename() != "handler") files.insert(entry.path());
  }
  std::string text;
  for (const fs::path& file : files) {
    text += file.filename().string() + ": " + ReadIfThere(file) + "\n";
  }
  return text;
}

std::string Cluster::InformationBase() const {
  Settle();
  return ReadCib(SharedDirectory()).root().Text(true);
}

void Cluster::SetNodeCondition(const NodeName& node, const std::string& condition) const {
  ClusterState::Change(SharedDirectory(), [&](ClusterState* state) {
    ClusterState::Node* changed = state->Find(node.host_name);
    changed->condition = condition;
    changed->leaving = false;
    if (!changed->Condition().is_member) return;
    changed->is_listed = true;
    changed->has_runtime_object = true;
  });
  Settle();
}

void Cluster::SetToolFault(const std::string& tool, const std::string& fault) const {
  ClusterState::Change(SharedDirectory(),
                       [&](ClusterState* state) { state->faults[tool] = fault; });
  PlaceTool(SharedDirectory(), tool, fault != "missing");
}

void Cluster::FailOperation(const NodeName& node, const std::string& resource) const {
  OnSettledCluster(SharedDirectory(), [&](const ClusterState&, const Cib& cib) {
    const std::vector<Resource> resources = Resources(cib);
    const Resource* failed = FindResource(resources, resource);
    if (failed == nullptr) throw std::runtime_error("no such resource: " + resource);
    cib.AddNode(node.host_name);
    cib.AddFailure(node.host_name, failed->primitive);
  });
}

void Cluster::SetSlowness(int seconds) const {
  ClusterState::Change(SharedDirectory(),
                       [&](ClusterState* state) { state->slow_seconds = seconds; });
  Settle();
}

void Cluster::SetLogFault(const std::string& fault) const {
  ClusterState::Change(SharedDirectory(), [&](ClusterState* state) { state->log_fault = fault; });
}

void Cluster::SetSyncFault(const std::string& fault) const {
  ClusterState::Change(SharedDirectory(), [&](ClusterState* state) { state->sync_fault = fault; });
}

void Cluster::Settle() const {
  OnSettledCluster(SharedDirectory(), [](const ClusterState&, const Cib&) {});
}

}  // namespace simcluster
