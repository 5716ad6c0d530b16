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

// A state that a node can be in.
struct NodeCondition {
  const char* name;
  const char* words;    // of the status tool for it
  bool is_member;       // of the messaging layer
  bool is_managing;     // its resource manager has joined the peer's
  bool runs_resources;  // unless it is on standby
};
inline constexpr NodeCondition kNodeConditions[] = {
    {"online", "ONLINE", true, true, true},
    {"offline", "OFFLINE", true, false, false},
    {"unclean", "OFFLINE UNCLEAN", false, false, false},
    {"pending", "ONLINE PENDING", true, true, false},
    {"onfail", "ONLINE ONFAIL", true, true, false},
    {"lost", "OFFLINE", false, false, false},
};

// The programs that stand in for those of the cluster and the appliance.
struct ClusterTool {
  const char* name;
  const char* directory;
};
inline constexpr ClusterTool kClusterTools[] = {
    {"cibadmin", "/usr/bin"},
    {"corosync-objctl", "/usr/bin"},
    {"crm", "/usr/bin"},
    {"crm_mon", "/usr/bin"},
    {"crm_node", "/usr/bin"},
    {"crm_resource", "/usr/bin"},
    {"IPaddr2", "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware"},
    {"rc.ha", "/usr/tavo/tavoha/etc.defaults"},
};

// What can be made to go wrong with a cluster tool. A tool that is "missing" is not there to start;
// the others are acted out by the tool itself.
inline constexpr const char* kToolFaults[] = {"none", "fail", "kill", "hangup", "noise", "missing"};

// What the nodes' handlers can do wrong about log requests (answer that they failed, or not at
// all), and their sync daemons about commands (not answer, stop within a line, answer in noise).
inline constexpr const char* kLogFaults[] = {"none", "fail", "silent"};
inline constexpr const char* kSyncFaults[] = {"none", "stall", "cut", "noise"};

struct ClusterState {
  struct Node {
    std::string name;  // its host name
    std::string id;    // of the messaging layer
    std::string condition = "online";
    // It was told to leave: gone from the resource manager first, then from the membership.
    bool leaving = false;
    // Still remembered, whether it is a member or not: by the node tool, and among the messaging
    // layer's runtime objects.
    bool is_listed = true;
    bool has_runtime_object = true;

    const NodeCondition& Condition() const;
  };
  std::vector<Node> nodes;                      // host0, host1
  std::map<std::string, std::string> faults{};  // of tools, by the tool's name
  std::string log_fault = "none", sync_fault = "none";
  int slow_seconds = 0;  // what the cluster takes for a transition
  int messages_sent = 0;

  // Null when there is no such node.
  const Node* Find(const std::string& host) const;
  Node* Find(const std::string& host);

  // Both throw std::runtime_error, with a message for the user.
  static ClusterState Read(const std::string& directory);
  // Has `change` work on the state. Changes follow one another, also those of other processes, and
  // a reader sees the state before one or after it.
  static void Change(const std::string& directory,
                     const std::function<void(ClusterState*)>& change);
};

}  // namespace simcluster

#endif  // SIMCLUSTER_STATE_CLUSTER_STATE_H_
