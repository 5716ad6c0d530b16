/// @file
/// Control of the cluster's resources: where they run, the rules that keep them off a node, nodes
/// online and on standby, the service address, the default configuration, and the removal of the
/// peer.
///
/// Everything is done with the cluster manager's tools, each run to its end before the call
/// returns. Nothing is cached. Changes marked "locked" are confirmed by asking the cluster, never
/// by a tool's exit status: each is issued up to five times, 3 seconds apart, and one that is never
/// confirmed is logged as ERROR. They hold the lock HA_LOCK_CRM_OPERATION; where that cannot be had
/// within 10 seconds, which is logged as ERROR, they go on without it.
#ifndef TAVOHACORE_CRM_H_
#define TAVOHACORE_CRM_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

/// Why the resource chain is kept off a node. Each has a location rule of its own. A rule is there
/// once, on the node it was set for; only that of CRM_CONSTRAINT_SB is there once for each node.
enum CRM_CONSTRAINT_TYPE TAVOHA_HELD_IN_INT {
  CRM_CONSTRAINT_SYNC_DONE = 0,     ///< RULE_SYNC_DONE
  CRM_CONSTRAINT_SPACE_SYNC = 1,    ///< RULE_SPACE_SYNC
  CRM_CONSTRAINT_SERV_FAIL = 2,     ///< RULE_SERV_FAIL
  CRM_CONSTRAINT_MEMSIZE = 3,       ///< RULE_MEMSIZE
  CRM_CONSTRAINT_PING_SERVER = 4,   ///< RULE_PING_SERVER
  CRM_CONSTRAINT_SB = 5,            ///< RULE_SB_ and the host name
  CRM_CONSTRAINT_VER_MISMATCH = 6,  ///< RULE_VER_MISMATCH
};

#ifndef __cplusplus
typedef enum CRM_CONSTRAINT_TYPE CRM_CONSTRAINT_TYPE;
#endif

#ifdef __cplusplus

/// @name Resources
/// @{

/// Returns 1 when resource `rsc` runs, in whatever role, on the node with host name `node`, or,
/// with a null `node`, anywhere; else 0, also while the cluster stack does not run. A null `rsc`
/// records 0x0D00; a query that fails is logged as ERROR. Runs "/usr/bin/crm_resource" once.
TAVOHA_EXPORT int HACrmIsResourceRunningAt(const char* node, const char* rsc);

/// Returns 1 when the cluster's configuration holds resource `rsc`, else 0. Runs
/// "/usr/bin/crm_resource" once.
TAVOHA_EXPORT int HACrmIsResourceConfigured(const char* rsc);

/// Raises the configuration's admin_epoch by one with "/usr/bin/cibadmin". Returns the tool's
/// result, 0 for success.
TAVOHA_EXPORT int HACrmIncreaseAdminEpoch();

/// @}

/// @name Location rules
/// @{

/// Adds (`add` of 1) or removes the rule of `type` on `node`; locked. Returns 0, also for a change
/// that was never confirmed, or -1 for a bad type and for a node without a host name, which is
/// logged as ERROR (removing a rule other than CRM_CONSTRAINT_SB needs no host name). A rule of a
/// type that the other node has already counts as added; a removal removes it wherever it is.
TAVOHA_EXPORT int HACrmSetConstraintOnNode(BOOL add, _tag_NODE_TYPE_ node,
                                           CRM_CONSTRAINT_TYPE type);

/// Returns 1 when the rule of `type` exists for `node`, else 0; 0 for the peer while the cluster is
/// HA_STATUS_SINGLE_NODE. Logs ERROR for a node without a host name.
TAVOHA_EXPORT int HACrmHasConstraintOnNode(_tag_NODE_TYPE_ node, CRM_CONSTRAINT_TYPE type);

/// Returns 1 when any rule exists for `node`, else 0.
TAVOHA_EXPORT int HACrmHasAnyConstraintOnNode(_tag_NODE_TYPE_ node);

/// Removes the rules of all types, one after another, each as HACrmSetConstraintOnNode does.
/// Returns 0. Can take 2 minutes and a half when the cluster keeps the rules and the lock is busy.
TAVOHA_EXPORT int HACrmRemoveConstraint(_tag_NODE_TYPE_ node);

/// @}

/// @name Nodes
/// @{

/// Brings `node` online, unless it is online already or not in a state to be brought online
/// (NODE_STATUS_ONLINE or below). Being online must hold for 10 seconds to count; the command is
/// issued at most six times, over 90 seconds. Returns 1 in any case; giving up is logged as ERROR.
TAVOHA_EXPORT int HACrmOnline(_tag_NODE_TYPE_ node);

/// Puts `node` on standby and waits until none of DUMMY_START, CHECKPOINT_LAST, CONF_SYNC, DRBD and
/// INFO_SET runs there; the command is repeated every second. Returns 1, or 0 when the node has no
/// host name, when this node has a failed operation (logged as ERROR), or when 601 repeats were not
/// enough: the node's state is then cleared, the failure logged as ERROR and marked with the file
/// "/var/lib/ha/ha_standby_failed-" and the host name.
TAVOHA_EXPORT int HACrmStandby(_tag_NODE_TYPE_ node);

/// Returns 1 when the cluster has a failed operation on record for `node`, else 0.
TAVOHA_EXPORT int HACrmHasFailedOp(_tag_NODE_TYPE_ node);

/// Waits until the resource chain has settled. Returns 1 once this node is active or passive. After
/// 80 minutes without DUMMY_END anywhere, or 6 more in which this node became neither, logs ERROR;
/// in the second case commands this node online with HACrmOnline and returns 0. Returns 0 at once,
/// with a logged ERROR, when this node's host name cannot be read.
TAVOHA_EXPORT int HAWaitCrmDone();

/// Returns 1 when the cluster's configuration has an element for `node`, else 0.
TAVOHA_EXPORT int HACrmIsNodeExist(_tag_NODE_TYPE_ node);

/// @}

/// @name The service address
/// @{

/// Returns 1 when the resource IP is out of the cluster manager's control, else 0.
TAVOHA_EXPORT int HACrmIsIPUnmanaged();

/// Takes the resource IP out of the cluster manager's control; locked. Returns 0.
TAVOHA_EXPORT int HACrmUnmanageIP();

/// Hands the resource IP back to the cluster manager; locked. Returns 0.
TAVOHA_EXPORT int HACrmManageIP();

/// Restarts the service address without the cluster manager's reacting to the gap: unmanages IP,
/// runs its agent "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2" with "stop" and "start",
/// each for as long as it takes, and manages IP again. Returns 0, or -1 with a logged ERROR when
/// the agent failed; IP then stays unmanaged. (In a host that ignores SIGCHLD, a tool that another
/// thread runs meanwhile may count as failed.)
TAVOHA_EXPORT int HACrmRestartIP();

/// Removes what manual interventions leave in the configuration: the standby and preference rules
/// of DUMMY_START, the target roles of INFO_SET, CONF_SYNC, CHECKPOINT_LAST and DRBD, and the
/// managed flag of DRBD; locked. Returns 0. Can take 90 seconds when the cluster keeps them.
TAVOHA_EXPORT int HACrmCleanState();

/// @}

/// @name The configuration as a whole
/// @{

/// Erases the cluster's configuration with "/usr/bin/crm" and waits up to 32 seconds for the last
/// resource to go; resources that remain are logged as ERROR. With `full` of 1 both nodes are put
/// on standby before and again after it, each time for up to 10 minutes a node, and everything else
/// that the cluster manager keeps is erased as well. Returns 0.
TAVOHA_EXPORT int HACrmConfReset(BOOL full);

/// Resets the configuration with HACrmConfReset(full) and loads the default one, with up to three
/// attempts, from the script "/tmp/crm_conf.xml", which is there for the time of the call. Returns
/// 0 when the cluster then lists all 10 resources, or -1 with a logged ERROR. After a full
/// initialisation both nodes are on standby. Callers see to it that one at a time does this: a
/// second one would take the script away.
TAVOHA_EXPORT int HACrmConfInit(BOOL full);

/// Dissolves the cluster from the side of the node that stays: sends the peer the message "UNBIND "
/// with `text`, waits until it is offline and then gone (up to 5 minutes each), deletes every trace
/// of it from the cluster manager and from Corosync (up to 12 minutes), and last removes its
/// location rules, even when it failed before. Returns 0, also when time ran out, or -1 when the
/// peer is not known or the message is too long. Each is logged as ERROR, no peer being configured
/// as WARN.
TAVOHA_EXPORT int HACrmRemoveRemote(const char* text);
/// @}
#endif

#endif  // TAVOHACORE_CRM_H_
