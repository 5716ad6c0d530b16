// What both nodes of a simulated cluster share: who is a member in what state, and which faults
// were ordered. Kept as one file, cluster.json, in a directory that every node sees at the same
// place.
#ifndef SIMCLUSTER_STATE_CLUSTER_STATE_H_
#define SIMCLUSTER_STATE_CLUSTER_STATE_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace simcluster {

// Where a node's root shows the directory.
inline constexpr char kSharedDirectory[] = "/run/simcluster";

// A state that a node can be in, and the words that the status tool has for it.
struct NodeCondition {
  const char* name;
  const char* words;
};
inline constexpr NodeCondition kNodeConditions[] = {
    {"online", "ONLINE"},          {"offline", "OFFLINE"},        {"unclean", "OFFLINE UNCLEAN"},
    {"pending", "ONLINE PENDING"}, {"standby", "ONLINE STANDBY"}, {"onfail", "ONLINE ONFAIL"},
};

// The cluster tools, all in /usr/bin.
inline constexpr const char* kClusterTools[] = {"crm_mon"};

// What can be made to go wrong with a cluster tool. A tool that is "missing" is not there to start;
// the others are acted out by the tool itself.
inline constexpr const char* kToolFaults[] = {"none", "fail", "kill", "hangup", "noise", "missing"};

struct ClusterState {
  struct Node {
    std::string name;  // its host name
    std::string condition = "online";
  };
  std::vector<Node> nodes;                    // host0, host1
  std::map<std::string, std::string> faults;  // of tools, by the tool's name

  // Both throw std::runtime_error, with a message for the user.
  static ClusterState Read(const std::string& directory);
  // Has `change` work on the state. Changes follow one another, also those of other processes, and
  // a reader sees the state before one or after it.
  static void Change(const std::string& directory,
                     const std::function<void(ClusterState*)>& change);
};

}  // namespace simcluster

#endif  // SIMCLUSTER_STATE_CLUSTER_STATE_H_
