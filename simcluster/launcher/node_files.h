// What makes a private root an appliance of the cluster: its settings, and the library and the
// tools at their paths.
#ifndef SIMCLUSTER_LAUNCHER_NODE_FILES_H_
#define SIMCLUSTER_LAUNCHER_NODE_FILES_H_

#include <string>

#include "simcluster/launcher/cluster.h"

namespace simcluster {

// Makes the links in the shared directory through which the nodes' tools are reached, so that one
// can go missing on both nodes at once. Throws std::runtime_error.
void PlaceTool(const std::string& shared_directory, const std::string& tool, bool there);

// Writes the files of the node into the root that the calling process is in.
// Throws std::runtime_error.
void WriteNodeFiles(const NodeName& node);

}  // namespace simcluster

#endif  // SIMCLUSTER_LAUNCHER_NODE_FILES_H_
