// The addresses under which the cluster is reached, as ha.conf of the node that the caller is in
// has them. Each is an alias (":HA") of its interface.
#ifndef SIMCLUSTER_NETWORK_CLUSTER_ADDRESS_H_
#define SIMCLUSTER_NETWORK_CLUSTER_ADDRESS_H_

#include "simcluster/root/private_root.h"

namespace simcluster {

// Bring up those that are enabled, and take down all. Interfaces that the node has not are left
// out.
[[nodiscard]] Error StartClusterAddresses();
[[nodiscard]] Error StopClusterAddresses();

}  // namespace simcluster

#endif  // SIMCLUSTER_NETWORK_CLUSTER_ADDRESS_H_
