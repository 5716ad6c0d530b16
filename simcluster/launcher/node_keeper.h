// The process that holds a node: the first of the node's process namespace. While it lives, the
// node does; when it ends, the kernel ends the rest and nothing stays.
#ifndef SIMCLUSTER_LAUNCHER_NODE_KEEPER_H_
#define SIMCLUSTER_LAUNCHER_NODE_KEEPER_H_

#include <string>

#include "simcluster/launcher/cluster.h"

namespace simcluster {

// Starts the keepers of both nodes and waits until the nodes are ready. Returns what went wrong, or
// an empty text.
std::string StartKeepers(const Cluster& cluster);

}  // namespace simcluster

#endif  // SIMCLUSTER_LAUNCHER_NODE_KEEPER_H_
