#include "simcluster/launcher/trial.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "simcluster/launcher/cluster.h"
#include "simcluster/launcher/parts.h"
#include "simcluster/root/system_failure.h"

namespace simcluster {
namespace {

// A cluster in a directory of its own, which goes when this does.
class OwnCluster {
 public:
  OwnCluster() {
    try {
      cluster_.Start();
    } catch (...) {
      rmdir(scratch_.c_str());
      throw;
    }
  }
  ~OwnCluster() {
    try {
      cluster_.Stop();
    } catch (const std::exception& error) {
      fprintf(stderr, "simcluster: %s\n", error.what());
    }
    rmdir(scratch_.c_str());
  }
  OwnCluster(const OwnCluster&) = delete;
  OwnCluster& operator=(const OwnCluster&) = delete;

  const Cluster& get() const { return cluster_; }

 private:
  static std::string MakeScratch() {
    char path[] = "/tmp/simcluster-try.XXXXXX";
    if (mkdtemp(path) == nullptr) Throw("cannot create a directory in /tmp");
    return path;
  }

  const std::string scratch_ = MakeScratch();
  const Cluster cluster_{scratch_ + "/cluster"};
};

// Runs a command on a node, its standard output on `output`, and returns its exit status.
int RunOn(const Cluster& cluster, const NodeName& node, const std::vector<std::string>& command,
          int output) {
  const pid_t child = fork();
  if (child < 0) Throw("cannot fork");
  if (child == 0) {
    try {
      dup2(output, STDOUT_FILENO);
      signal(SIGINT, SIG_DFL);
      cluster.Run(node, command);
    } catch (const std::exception& error) {
      fprintf(stderr, "simcluster: %s\n", error.what());
      _exit(1);
    }
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// What an operator would do, its pauses passing at once.
void BringIntoService(const Cluster& cluster) {
  const std::vector<std::vector<std::string>> steps = {
      {"cluster", "init", "--full", "--yes"},
      {"node", "online", "local"},
      {"node", "online", "remote"},
  };
  for (const std::vector<std::string>& step : steps) {
    std::vector<std::string> command = {"env", "LD_PRELOAD=" + Part("libvirtual_time.so").string(),
                                        "tavohactl"};
    command.insert(command.end(), step.begin(), step.end());
    if (RunOn(cluster, kNodes[0], command, STDERR_FILENO) != 0) {
      throw std::runtime_error("the cluster could not be brought into service");
    }
  }
}

}  // namespace

int TryOnBothNodes(const std::vector<std::string>& command) {
  // A terminal's interrupt ends the command; the cluster is stopped all the same.
  signal(SIGINT, SIG_IGN);
  const OwnCluster cluster;
  BringIntoService(cluster.get());
  int first_failure = 0;
  for (const NodeName& node : kNodes) {
    fprintf(stderr, "on %s:\n", node.host_name.c_str());
    const int status = RunOn(cluster.get(), node, command, STDOUT_FILENO);
    if (first_failure == 0) first_failure = status;
  }
  return first_failure;
}

}  // namespace simcluster
