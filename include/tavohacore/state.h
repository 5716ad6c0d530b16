// Whether HA runs on this node, and in which mode. Nothing is cached: every call looks again.
#ifndef TAVOHACORE_STATE_H_
#define TAVOHACORE_STATE_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// Returns 1 when HA runs on this node, else 0. Decided by the markers "/tmp/.ha.running" and
// "/tmp/.ha.not.running", or, without either, by "support_ha" in "/etc.defaults/tavoinfo.conf" and
// "runha" in "/etc/tavoinfo.conf"; when those say no, creates "/tmp/.ha.not.running".
TAVOHA_EXPORT int TAVOHAIsRunning(void);

// Returns 1 when HA runs and this node holds the active role ("/tmp/ha_role_active"), else 0.
TAVOHA_EXPORT int TAVOHAIsActive(void);

// Returns 1 when the cluster is in safe mode ("/var/lib/ha/ha.safemode.info"); any other value
// means that it is not. Runs with raised priority for storage web-service workers.
TAVOHA_EXPORT int TAVOHAIsSafemode(void);

// Stops HA on this node: runs "/usr/tavo/tavoha/etc.defaults/rc.ha stop" and waits for it. Returns
// the script's result, 0 for success, or -1 without running it when HA does not run.
TAVOHA_EXPORT int TAVOHAStop(void);

#ifdef __cplusplus
}  // extern "C"

// Returns whether the Corosync daemon lives ("/usr/tavo/tavoha/var/run/corosync.pid").
TAVOHA_EXPORT bool CrsyncIsRunning();

// Returns 1 when the Pacemaker daemon lives ("/usr/tavo/tavoha/var/run/pacemaker.pid"), else 0.
TAVOHA_EXPORT BOOL PcmkIsRunning();

// Returns 1 when both daemons live, else 0. Logs ERROR when only one does.
TAVOHA_EXPORT BOOL HAIsRunningCoroPace();

// Returns 1 when an HA upgrade is under way ("/var/lib/ha/ha.upg"); any other value means not.
TAVOHA_EXPORT int HAIsUpgrading();
#endif

#endif  // TAVOHACORE_STATE_H_
