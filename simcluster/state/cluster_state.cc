#include "simcluster/state/cluster_state.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "simcluster/root/descriptor.h"

namespace simcluster {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ClusterState::Node, name, condition)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ClusterState, nodes, faults)

namespace {

[[noreturn]] void Throw(const std::string& what) {
  throw std::runtime_error(what + ": " + strerror(errno));
}

std::string StatePath(const std::string& directory) { return directory + "/cluster.json"; }

void Write(const std::string& directory, const ClusterState& state) {
  const std::string path = StatePath(directory), whole = path + ".new";
  std::ofstream file(whole, std::ios::trunc);
  file << nlohmann::json(state).dump(2) << '\n';
  file.close();
  if (!file || rename(whole.c_str(), path.c_str()) != 0) Throw("cannot write " + path);
}

}  // namespace

ClusterState ClusterState::Read(const std::string& directory) {
  std::ifstream file(StatePath(directory));
  if (!file) Throw("cannot read the cluster's state in " + directory);
  return nlohmann::json::parse(file).get<ClusterState>();
}

void ClusterState::Change(const std::string& directory,
                          const std::function<void(ClusterState*)>& change) {
  const std::string path = directory + "/lock";
  const Descriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock || flock(lock.get(), LOCK_EX) != 0) Throw("cannot lock " + path);
  ClusterState state;
  if (std::ifstream(StatePath(directory))) state = Read(directory);
  change(&state);
  Write(directory, state);
}

}  // namespace simcluster
