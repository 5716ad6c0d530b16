/// @file
/// The state of the cluster's nodes, as the cluster manager sees it. Nothing is cached: every call
/// asks the cluster's tools again.
#ifndef TAVOHACORE_NODE_H_
#define TAVOHACORE_NODE_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

/// In what state a node is.
enum _tag_NODE_STATUS_ TAVOHA_HELD_IN_INT {
  NODE_STATUS_UNKNOWN = 0,          ///< it could not be found out
  NODE_STATUS_STANDALONE = 1,       ///< HA does not run; this node or host0
  NODE_STATUS_NONE = 2,             ///< HA does not run, or there is no such node
  NODE_STATUS_ONLINE = 3,           ///< online
  NODE_STATUS_WARNING_ONLINE = 4,   ///< online, and standby, unclean or pending
  NODE_STATUS_WARNING_OFFLINE = 5,  ///< offline, and standby or pending
  NODE_STATUS_OFFLINE = 6,          ///< offline, or offline and unclean
  NODE_STATUS_ERROR = 7,            ///< failed
};

/// What a node does in the pair: where the resource chain from DUMMY_START to DUMMY_END runs.
enum NODE_ROLE_TYPE TAVOHA_HELD_IN_INT {
  NODE_ROLE_NONE = 0,            ///< HA does not run, or the node is not plainly online
  NODE_ROLE_ACTIVE = 1,          ///< the whole chain has started here
  NODE_ROLE_PASSIVE = 2,         ///< every master/slave set runs here, and neither end of the chain
  NODE_ROLE_NOT_READY = 3,       ///< neither end of the chain, and not every master/slave set
  NODE_ROLE_ACTIVE_PARTIAL = 4,  ///< the chain has started here, but not to its end
  NODE_ROLE_SAFEMODE = 5,        ///< the cluster is in safe mode
};

/// In what state the cluster as a whole is.
enum HA_STATUS TAVOHA_HELD_IN_INT {
  HA_STATUS_NORMAL = 1,       ///< both hosts online
  HA_STATUS_WARNING = 2,      ///< anything else
  HA_STATUS_ERROR = 3,        ///< a host in error
  HA_STATUS_NOT_RUNNING = 4,  ///< HA or the cluster stack does not run
  HA_STATUS_SINGLE_NODE = 5,  ///< one host online, the other not there
};

#ifndef __cplusplus
typedef enum _tag_NODE_STATUS_ _tag_NODE_STATUS_;
typedef enum NODE_ROLE_TYPE NODE_ROLE_TYPE;
typedef enum HA_STATUS HA_STATUS;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// Returns the role of this node, a value of NODE_ROLE_TYPE, as HANodeRoleTypeGet finds it. Runs
/// with raised priority for storage web-service workers.
TAVOHA_EXPORT int TAVOHANodeRoleGet(void);

#ifdef __cplusplus
}  // extern "C"

/// Returns the status of `node`, a value of `_tag_NODE_STATUS_`. Runs "/usr/bin/crm_mon -1 -S"
/// once, unless HA or the cluster stack does not run. Every failure is folded into a status; the
/// tool's and the host name's are logged as ERROR, a node that is neither host as INFO.
TAVOHA_EXPORT int HANodeStatusGet(_tag_NODE_TYPE_ node);

/// Returns the name of a status, for example "warning_online"; "unknown" for any other value.
TAVOHA_EXPORT const char* HANodeStatusStr(_tag_NODE_STATUS_ status);

/// Writes the host name of `node` from ha.conf into `buffer` of `size` bytes. Returns 1 when a
/// non-empty name was read, else 0, logged as ERROR for a bad node and as DEBUG for no name.
TAVOHA_EXPORT int HAGetNodeHostName(_tag_NODE_TYPE_ node, char* buffer, int size);

/// Returns the role of `node`, a value of NODE_ROLE_TYPE. Only NODE_TYPE_LOCAL and NODE_TYPE_REMOTE
/// can have one. Runs "/usr/bin/crm_mon" once and "/usr/bin/crm_resource" up to six times. Every
/// failure is folded into a role; an unreadable host name is logged as ERROR.
TAVOHA_EXPORT int HANodeRoleTypeGet(_tag_NODE_TYPE_ node);

/// Returns the status of the cluster, a value of HA_STATUS. Runs "/usr/bin/crm_mon" twice, unless
/// HA or the cluster stack does not run. Every failure is folded into a status; nothing is logged
/// of its own.
TAVOHA_EXPORT int HAStatusGet();
#endif

#endif  // TAVOHACORE_NODE_H_
