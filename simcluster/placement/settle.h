// The cluster's reaction to what is configured and to what befalls its nodes.
#ifndef SIMCLUSTER_PLACEMENT_SETTLE_H_
#define SIMCLUSTER_PLACEMENT_SETTLE_H_

#include <chrono>
#include <functional>
#include <string>

#include "simcluster/cib/cib.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {

// Brings <status> in line with the configuration and the conditions of the nodes: who is there, who
// is on standby, what runs where. It is done at once, or, in a cluster that was made slow, by the
// first call after that time has passed since one noticed the need; `now` is that of the call.
//
// Nodes that manage resources make themselves known to the base.
void Settle(const ClusterState& state, std::chrono::nanoseconds now, const Cib& cib);

// Has `work` look at the settled cluster, and change it, while nobody else does; then settles it
// again and marks the active node. When `work` throws, nothing of the base is changed. Throws
// std::runtime_error, with a message for the user.
//
// The time is that of the machine and, on top, what pauses of virtual time were noted in
// PausesPath.
void OnSettledCluster(const std::string& directory,
                      const std::function<void(const ClusterState& state, const Cib& cib)>& work);
std::string PausesPath(const std::string& directory);

// The file that is there while everything up to the last resource of a colocation runs on the node.
std::string ActiveMarkerPath(const std::string& directory, const std::string& host);

// The words that the status tool has for the node.
std::string StatusWords(const ClusterState& state, const Cib& cib, const std::string& host);

}  // namespace simcluster

#endif  // SIMCLUSTER_PLACEMENT_SETTLE_H_
