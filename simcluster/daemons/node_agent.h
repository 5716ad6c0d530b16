// The part of a node's HA system that acts: it handles the messages that come to the node, and
// brings the cluster's addresses up while the node is active.
//
// A log request is recorded in the node's event log, and answered by a message that has the
// requesting node's agent write the response file. A node that is told to unbind leaves the
// cluster. Other messages are only logged: there are no disks.
#ifndef SIMCLUSTER_DAEMONS_NODE_AGENT_H_
#define SIMCLUSTER_DAEMONS_NODE_AGENT_H_

#include <functional>
#include <string>

namespace simcluster {

inline constexpr char kEventLog[] = "/var/log/ha_events.log";

// Calls `ready` once messages are handled. Throws std::runtime_error, and never returns.
[[noreturn]] void RunNodeAgent(const std::string& host, const std::function<void()>& ready);

}  // namespace simcluster

#endif  // SIMCLUSTER_DAEMONS_NODE_AGENT_H_
