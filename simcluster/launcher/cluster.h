// A simulated cluster as the launcher's user sees it: start, look, enter, break, stop. All of it
// lives in one directory and in the two nodes' processes.
//
//   DIRECTORY/cluster/     what the nodes share, shown to them at /run/simcluster
//   DIRECTORY/host0/       of host0, and DIRECTORY/host1 likewise: "keeper", the id of the process
//                          that holds the node, locked while that lives; "log", the node's log
#ifndef SIMCLUSTER_LAUNCHER_CLUSTER_H_
#define SIMCLUSTER_LAUNCHER_CLUSTER_H_

#include <string>
#include <string_view>
#include <vector>

#include "simcluster/root/descriptor.h"

namespace simcluster {

// The nodes as ha.conf knows them. Their host names differ from that, so that nothing can confuse
// the two. The ids are their DRBD addresses as numbers, the first byte lowest.
struct NodeName {
  std::string selector;   // host0
  std::string host_name;  // nas-a
  std::string id;
  std::string address;
};
inline const NodeName kNodes[] = {{"host0", "nas-a", "16907945", "192.0.2.10"},
                                  {"host1", "nas-b", "33685161", "192.0.2.11"}};

// Every operation throws std::runtime_error with a message for the user when it cannot do its work.
class Cluster {
 public:
  explicit Cluster(std::string directory) : directory_(std::move(directory)) {}

  // $XDG_RUNTIME_DIR/simcluster, or else one in /tmp that is the user's own.
  static std::string DefaultDirectory();

  // Brings both nodes up. Returns when both are ready.
  void Start() const;
  // Ends every process of both nodes and removes the directory. What is not there needs no stop.
  void Stop() const;
  bool IsRunning() const;

  // Finds a node by "host0" or by its host name.
  static const NodeName& FindNode(std::string_view name);

  // Runs a command in the node, with the caller's standard input, output and error, and exits with
  // its exit status as a shell would: 128 and the signal's number when a signal ended it. Does not
  // return: a process that has gone over to a node is at home in neither place.
  [[noreturn]] void Run(const NodeName& node, const std::vector<std::string>& command) const;
  // What the node logged, what its IP agent and control script were asked, and what messages came.
  std::string Log(const NodeName& node) const;
  std::string Journal(const NodeName& node) const;
  std::string Messages(const NodeName& node) const;
  // The cluster information base, as XML.
  std::string InformationBase() const;

  // A member that had been removed is one again when its condition makes it one.
  void SetNodeCondition(const NodeName& node, const std::string& condition) const;
  void SetToolFault(const std::string& tool, const std::string& fault) const;
  // Has an operation of the resource fail once more on the node.
  void FailOperation(const NodeName& node, const std::string& resource) const;
  // Makes the cluster take that long from a change to what follows from it.
  void SetSlowness(int seconds) const;
  // What the nodes' handlers do with log requests, and their sync daemons with commands.
  void SetLogFault(const std::string& fault) const;
  void SetSyncFault(const std::string& fault) const;

  std::string SharedDirectory() const { return directory_ + "/cluster"; }
  std::string NodeDirectory(const NodeName& node) const { return directory_ + "/" + node.selector; }

 private:
  // Lets the cluster react to what was ordered.
  void Settle() const;
  // The node's keeper, or none when it does not live.
  Descriptor OpenKeeper(const NodeName& node) const;

  std::string directory_;
};

}  // namespace simcluster

#endif  // SIMCLUSTER_LAUNCHER_CLUSTER_H_
