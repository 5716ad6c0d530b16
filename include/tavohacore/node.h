// The state of the cluster's nodes, as the cluster manager sees it. Nothing is cached: every call
// asks the cluster's tools again.
#ifndef TAVOHACORE_NODE_H_
#define TAVOHACORE_NODE_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

// In what state a node is.
enum _tag_NODE_STATUS_ TAVOHA_HELD_IN_INT {
  NODE_STATUS_UNKNOWN = 0,          // it could not be found out
  NODE_STATUS_STANDALONE = 1,       // HA does not run; this node or host0
  NODE_STATUS_NONE = 2,             // HA does not run, or there is no such node
  NODE_STATUS_ONLINE = 3,           // online
  NODE_STATUS_WARNING_ONLINE = 4,   // online, and standby, unclean or pending
  NODE_STATUS_WARNING_OFFLINE = 5,  // offline, and standby or pending
  NODE_STATUS_OFFLINE = 6,          // offline, or offline and unclean
  NODE_STATUS_ERROR = 7,            // failed
};

#ifndef __cplusplus
typedef enum _tag_NODE_STATUS_ _tag_NODE_STATUS_;
#endif

#ifdef __cplusplus
// Returns the status of `node`, a value of _tag_NODE_STATUS_. Runs "/usr/bin/crm_mon -1 -S" once,
// unless HA or the cluster stack does not run. Every failure is folded into a status; the tool's
// and the host name's are logged as ERROR, a node that is neither host as INFO.
TAVOHA_EXPORT int HANodeStatusGet(_tag_NODE_TYPE_ node);

// Returns the name of a status, for example "warning_online"; "unknown" for any other value.
TAVOHA_EXPORT const char* HANodeStatusStr(_tag_NODE_STATUS_ status);

// Writes the host name of `node` from ha.conf into `buffer` of `size` bytes. Returns 1 when a
// non-empty name was read, else 0, logged as ERROR for a bad node and as DEBUG for no name.
TAVOHA_EXPORT int HAGetNodeHostName(_tag_NODE_TYPE_ node, char* buffer, int size);
#endif

#endif  // TAVOHACORE_NODE_H_
