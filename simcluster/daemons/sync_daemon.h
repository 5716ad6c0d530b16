// The file synchronisation daemon of a node, as far as its control channel shows it: it answers
// with the lines of the files "status", "events" and "abandoned" in the directory kSyncDirectory,
// which a user may change at any time.
#ifndef SIMCLUSTER_DAEMONS_SYNC_DAEMON_H_
#define SIMCLUSTER_DAEMONS_SYNC_DAEMON_H_

#include <functional>

namespace simcluster {

inline constexpr char kSyncDirectory[] = "/var/lib/ha/lsyncd";

// Calls `ready` once commands can be sent. Throws std::runtime_error, and never returns.
[[noreturn]] void RunSyncDaemon(const std::function<void()>& ready);

}  // namespace simcluster

#endif  // SIMCLUSTER_DAEMONS_SYNC_DAEMON_H_
