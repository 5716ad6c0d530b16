#include "simcluster/state/cluster_state.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "simcluster/root/descriptor.h"
#include "simcluster/root/system_failure.h"

namespace simcluster {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ClusterState::Node, name, id, condition, leaving, is_listed,
                                   has_runtime_object)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ClusterState, nodes, faults, log_fault, sync_fault, slow_seconds,
                                   messages_sent)

namespace {

std::string StatePath(const std::string& directory) { return directory + "/cluster.json"; }

void Write(const std::string& directory, const ClusterState& state) {
  const std::string path = StatePath(directory), whole = path + ".new";
  std::ofstream file(whole, std::ios::trunc);
  file << nlohmann::json(state).dump(2) << '\n';
  file.close();
  if (!file || rename(whole.c_str(), path.c_str()) != 0) Throw("cannot write " + path);
}

}  // namespace

const NodeCondition& ClusterState::Node::Condition() const {
  const auto* known = std::ranges::find(kNodeConditions, condition, &NodeCondition::name);
  if (known == std::end(kNodeConditions)) {
    throw std::runtime_error("no condition of a node: " + condition);
  }
  return *known;
}

const ClusterState::Node* ClusterState::Find(const std::string& host) const {
  const auto node = std::ranges::find(nodes, host, &Node::name);
  return node == nodes.end() ? nullptr : &*node;
}

ClusterState::Node* ClusterState::Find(const std::string& host) {
  return const_cast<Node*>(std::as_const(*this).Find(host));
}

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
