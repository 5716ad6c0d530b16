#include "simcluster/launcher/node_keeper.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "simcluster/daemons/node_agent.h"
#include "simcluster/daemons/sync_daemon.h"
#include "simcluster/launcher/node_files.h"
#include "simcluster/launcher/parts.h"
#include "simcluster/network/interface.h"
#include "simcluster/root/private_root.h"
#include "simcluster/root/system_failure.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

constexpr char kReady[] = "ready\n";
constexpr char kDataPort[] = "ovs_eth0";
constexpr const char* kDaemons[] = {"corosync", "pacemaker"};

void ThrowIfFailed(const Error& error) {
  if (!error.empty()) throw std::runtime_error(error);
}

Descriptor OpenOrThrow(const std::string& path, int flags) {
  Descriptor file(open(path.c_str(), flags | O_CLOEXEC, 0600));
  if (!file) Throw("cannot open " + path);
  return file;
}

void Report(const Descriptor& starter, const std::string& text) {
  // Nobody is left to be told when this fails.
  [[maybe_unused]] const ssize_t written = write(starter.get(), text.data(), text.size());
}

// A process that lives and does nothing, as a daemon does as far as its pid file can tell.
void StartDaemon(const std::string& name) {
  const pid_t daemon = fork();
  if (daemon < 0) Throw("cannot fork");
  if (daemon == 0) {
    close_range(0, ~0U, 0);
    prctl(PR_SET_NAME, name.c_str());
    for (;;) pause();
  }
  const std::string path = "/usr/tavo/tavoha/var/run/" + name + ".pid";
  std::ofstream file(path);
  if (!(file << daemon << '\n' << std::flush)) Throw("cannot write " + path);
}

// Starts a process that does something, and waits until it is ready to. One that ends later leaves
// the node without it, and says why in the node's log.
void StartWorker(const char* name, const std::function<void(std::function<void()> ready)>& work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Throw("cannot make a pipe");
  const Descriptor told(ends[0]);
  Descriptor tell(ends[1]);
  const pid_t worker = fork();
  if (worker < 0) Throw("cannot fork");
  if (worker == 0) {
    prctl(PR_SET_NAME, name);
    try {
      // Nothing of the keeper's, or it would seem to live on.
      close_range(0, static_cast<unsigned>(tell.get()) - 1, 0);
      close_range(static_cast<unsigned>(tell.get()) + 1, ~0U, 0);
      work([&] {
        Report(tell, kReady);
        tell.Close();
      });
    } catch (const std::exception& error) {
      Report(tell, error.what());
      syslog(LOG_ERR, "%s: %s", name, error.what());
    }
    _exit(1);
  }
  tell.Close();
  char report[256] = {};
  if (read(told.get(), report, sizeof report - 1) <= 0 || strcmp(report, kReady) != 0) {
    throw std::runtime_error(std::string(name) + ": " + report);
  }
}

// The kernel's serial numbers. Nothing can be added to the kernel's own directory, so these stand
// before it.
void AddSerialNumbers() {
  constexpr char kDirectory[] = "/proc/sys/kernel";
  if (mount("kernel", kDirectory, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0755") != 0) {
    Throw(std::string("cannot mount on ") + kDirectory);
  }
  for (const char* name : {"tavo_serial", "tavo_custom_serial"}) {
    std::ofstream file(std::string(kDirectory) + "/" + name);
    if (!(file << (name[5] == 's' ? "SIM0001" : "CUSTOM0001") << '\n' << std::flush)) {
      Throw(std::string("cannot write ") + name);
    }
  }
}

// The data port. A machine that lets nobody have a tap device leaves the node without it, which is
// worth a word in the node's log.
void AddInterfaces(const NodeName& node) {
  Error error = AddInterface(kDataPort);
  if (error.empty()) error = SetAddress(kDataPort, node.address, "255.255.255.0");
  if (!error.empty()) syslog(LOG_WARNING, "%s", error.c_str());
}

Descriptor BindLogSocket() {
  Descriptor socket_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_un address = {AF_UNIX, "/dev/log"};
  if (!socket_fd ||
      bind(socket_fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    Throw("cannot bind /dev/log");
  }
  return socket_fd;
}

// Writes what the node logs, a line a message, for as long as the node lives.
[[noreturn]] void KeepLog(const Descriptor& messages, const Descriptor& log) {
  for (;;) {
    char message[65536];
    const ssize_t length = recv(messages.get(), message, sizeof message - 1, 0);
    if (length < 0) continue;
    std::string line(message, static_cast<size_t>(length));
    if (line.starts_with('<')) line.erase(0, line.find('>') + 1);
    while (line.ends_with('\n') || line.ends_with('\0')) line.pop_back();
    std::ranges::replace(line, '\n', ' ');
    line += '\n';
    if (write(log.get(), line.data(), line.size()) < 0) continue;  // a full disk stops no node
  }
}

// The life of a keeper. `held` is its own file, locked.
void Keep(const Cluster& cluster, const NodeName& node, Descriptor* starter) {
  prctl(PR_SET_NAME, "simcluster-node");
  const Descriptor log =
      OpenOrThrow(cluster.NodeDirectory(node) + "/log", O_WRONLY | O_CREAT | O_APPEND);
  std::vector<std::string> visible;
  if (!TreeIsTheMachines()) visible.push_back(Tree());
  ThrowIfFailed(BuildRoot({.host_name = node.host_name,
                           .visible = std::move(visible),
                           .visible_at = {{kSharedDirectory, cluster.SharedDirectory()}},
                           .own_processes = true}));
  WriteNodeFiles(node);
  AddSerialNumbers();
  const Descriptor messages = BindLogSocket();
  AddInterfaces(node);
  signal(SIGCHLD, SIG_IGN);  // orphans are reaped by the kernel
  for (const char* daemon : kDaemons) StartDaemon(daemon);
  StartWorker("ha-agent", [&](const auto& ready) { RunNodeAgent(node.host_name, ready); });
  StartWorker("lsyncd", [](const auto& ready) { RunSyncDaemon(ready); });
  Report(*starter, kReady);
  starter->Close();
  KeepLog(messages, log);
}

// Runs `life` in a child process, which tells the starter when it ends by an exception.
template <typename Life>
pid_t Fork(Descriptor* starter, Life life) {
  const pid_t child = fork();
  if (child != 0) return child;
  try {
    life();
    _exit(0);
  } catch (const std::exception& error) {
    Report(*starter, error.what());
    _exit(1);
  }
}

// Brings up the keeper of one node, and notes its id as the machine sees it.
void StartKeeper(const Cluster& cluster, const NodeName& node, Descriptor* starter) {
  const Descriptor own = OpenOrThrow(cluster.NodeDirectory(node) + "/keeper", O_RDWR | O_CREAT);
  if (flock(own.get(), LOCK_EX | LOCK_NB) != 0) Throw("cannot lock the keeper's file");
  ThrowIfFailed(LeaveMachine(CLONE_NEWPID | CLONE_NEWIPC));
  ThrowIfFailed(EnterOwnNetwork());
  const pid_t keeper = Fork(starter, [&] { Keep(cluster, node, starter); });
  if (keeper < 0) Throw("cannot fork");
  const std::string id = std::to_string(keeper);
  if (write(own.get(), id.data(), id.size()) < 0) Throw("cannot write the keeper's file");
}

void DetachFromCaller() {
  setsid();
  const Descriptor null = OpenOrThrow("/dev/null", O_RDWR);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    dup2(null.get(), standard);
  if (chdir("/") != 0) Throw("cannot enter /");
}

}  // namespace

std::string StartKeepers(const Cluster& cluster) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Throw("cannot make a pipe");
  const Descriptor reports(ends[0]);
  Descriptor starter(ends[1]);

  const pid_t founder = Fork(&starter, [&] {
    DetachFromCaller();
    // Both nodes in one user namespace, where there is one: then they can be linked by a network.
    ThrowIfFailed(LeaveMachine());
    for (const NodeName& node : kNodes) {
      const pid_t child = Fork(&starter, [&] { StartKeeper(cluster, node, &starter); });
      if (child < 0) Throw("cannot fork");
      waitpid(child, nullptr, 0);
    }
  });
  if (founder < 0) Throw("cannot fork");
  starter.Close();

  // Ends when every keeper has closed its end: it is ready, or is no more.
  std::string reported;
  char block[4096];
  for (ssize_t length; (length = read(reports.get(), block, sizeof block)) > 0;) {
    reported.append(block, static_cast<size_t>(length));
  }
  waitpid(founder, nullptr, 0);
  std::string all_ready;
  for (size_t i = 0; i < std::size(kNodes); ++i) all_ready += kReady;
  if (reported == all_ready) return {};
  while (reported.starts_with(kReady)) reported.erase(0, strlen(kReady));
  return reported.empty() ? "a node ended while it was started" : reported;
}

}  // namespace simcluster
