// Network interfaces of a simulated node, in the network of the calling thread.
#ifndef SIMCLUSTER_NETWORK_INTERFACE_H_
#define SIMCLUSTER_NETWORK_INTERFACE_H_

#include <string>

#include "simcluster/root/private_root.h"

namespace simcluster {

// Adds an interface with a hardware address of its own, and brings it up: a dummy, one end of a
// veth pair or a tap device, whichever the kernel offers first. It stays until the network itself
// goes. `name` goes to ip(8) by way of a shell.
[[nodiscard]] Error AddInterface(const std::string& name);

// Gives `name` the address and netmask. A name like "eth0:HA" stands for an alias of eth0, which is
// created.
[[nodiscard]] Error SetAddress(const std::string& name, const std::string& address,
                               const std::string& netmask);

// Takes the address of the alias `name` away. One that has none is left as it is.
[[nodiscard]] Error RemoveAddress(const std::string& name);

}  // namespace simcluster

#endif  // SIMCLUSTER_NETWORK_INTERFACE_H_
