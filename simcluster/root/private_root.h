// A machine of one's own: the calling process gets a root directory, a host name and, where wanted,
// a network and a process table that nobody else sees. Programs and libraries of the real machine
// are there at their paths, everything can be written, and nothing that is written reaches the real
// machine or stays when the last process inside ends.
//
// Works for root, and for an ordinary user where the kernel lets users have namespaces.
#ifndef SIMCLUSTER_ROOT_PRIVATE_ROOT_H_
#define SIMCLUSTER_ROOT_PRIVATE_ROOT_H_

#include <map>
#include <string>
#include <vector>

namespace simcluster {

// What went wrong and what to do about it; empty when nothing did.
using Error = std::string;

struct PrivateRoot {
  std::string host_name = "appliance";
  // Directories of the machine that show at their own paths inside, and are written through: what
  // was built and is to be run. Whatever else lies below /tmp and /run is out of sight.
  std::vector<std::string> visible{};
  // The same for directories that show elsewhere: the path inside, and the machine's.
  std::map<std::string, std::string> visible_at{};
  // The caller is the first process of a process namespace (LeaveMachine(CLONE_NEWPID), then a
  // fork), so /proc is to show that one.
  bool own_processes = false;
};

// Moves the calling process out of the machine's namespaces: always mounts and host name, and those
// of `more` (CLONE_NEWNET, CLONE_NEWIPC, CLONE_NEWPID). Without the right to do so, it takes a user
// namespace in which it is root. Such a process must have one thread only.
[[nodiscard]] Error LeaveMachine(int more = 0);

// Builds the private root and makes it the root of the calling process, which has left the machine.
// The working directory stays where it still exists, and is "/" otherwise. The directories that the
// appliance has beyond a plain Linux are there and empty: /etc.defaults, /var/lib/ha and
// /usr/tavo/tavoha/{etc,etc.defaults,var/run}.
//
// After an error the process stands in a root half built, and can do nothing better than exit.
[[nodiscard]] Error BuildRoot(const PrivateRoot& root);

// Both steps, for a process that goes on itself.
[[nodiscard]] Error EnterPrivateRoot(const PrivateRoot& root);

// Moves the calling thread, already away from the machine, to a network of its own in which only
// the loopback interface exists, and is up.
[[nodiscard]] Error EnterOwnNetwork();

}  // namespace simcluster

#endif  // SIMCLUSTER_ROOT_PRIVATE_ROOT_H_
