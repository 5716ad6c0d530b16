// Where the configured resources are to run, and in which role.
#ifndef SIMCLUSTER_PLACEMENT_PLACEMENT_H_
#define SIMCLUSTER_PLACEMENT_PLACEMENT_H_

#include <map>
#include <set>
#include <string>

#include "simcluster/cib/cib.h"

namespace simcluster {

enum class Role { kStarted, kSlave, kMaster };

// By node and primitive. Nodes on which nothing runs are not in it.
using Placement = std::map<std::string, std::map<std::string, Role>>;

// What <status> says is running.
Placement RecordedPlacement(const Cib& cib);
void RecordPlacement(const Placement& placement, const Cib& cib);

// What is to run, given what does by now:
//
// - A node that is not `online` runs nothing, one on standby nothing that is managed.
// - A location constraint of -INFINITY, as many failures as the resource's migration threshold, and
//   the target role Stopped keep a resource off.
// - The members of a colocation run on one node, masters of sets among them, each only when those
//   run that start before it. It is the node on which the most of them can: where they are by now
//   when there are several, else the first.
// - A set or a clone has an instance on each node that may run one, slaves where it is no master.
// - What is unmanaged stays as it is, and holds its colocation on its node.
Placement Place(const Cib& cib, const std::set<std::string>& online);

}  // namespace simcluster

#endif  // SIMCLUSTER_PLACEMENT_PLACEMENT_H_
