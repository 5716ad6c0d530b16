// One command for somebody who has written a program: a cluster in service, for as long as it runs.
#ifndef SIMCLUSTER_LAUNCHER_TRIAL_H_
#define SIMCLUSTER_LAUNCHER_TRIAL_H_

#include <string>
#include <vector>

namespace simcluster {

// Starts a cluster of its own, loads the default configuration and brings both nodes online (nas-a
// is then active), runs the command on one node after the other, and stops the cluster. Standard
// error says what is going on. Returns the first exit status that is not 0, or 0. Throws
// std::runtime_error when the cluster cannot be brought that far.
int TryOnBothNodes(const std::vector<std::string>& command);

}  // namespace simcluster

#endif  // SIMCLUSTER_LAUNCHER_TRIAL_H_
