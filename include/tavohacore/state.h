/// @file
/// Whether HA runs on this node and in which mode, how far binding is, and what the cluster
/// presents itself with. Nothing is cached: every call looks again.
#ifndef TAVOHACORE_STATE_H_
#define TAVOHACORE_STATE_H_

#include <stdint.h>
#include <tavohacore/export.h>
#include <tavohacore/types.h>

/// One interface that carries a cluster address. The texts are terminated.
typedef struct HA_NET_INFO {
  char ifName[16];    ///< for example "ovs_eth0"
  char ip[20];        ///< in dotted form
  char netmask[20];   ///< in dotted form
  uint32_t reserved;  ///< 0
} HA_NET_INFO;

/// How many records TAVOHAGetHANetinfo fills.
enum { HA_NET_INFO_COUNT = 12 };

#ifdef __cplusplus
extern "C" {
#endif

/// Returns 1 when HA runs on this node, else 0. Decided by the markers "/tmp/.ha.running" and
/// "/tmp/.ha.not.running", or, without either, by "support_ha" in "/etc.defaults/tavoinfo.conf" and
/// "runha" in "/etc/tavoinfo.conf"; when those say no, creates "/tmp/.ha.not.running".
TAVOHA_EXPORT int TAVOHAIsRunning(void);

/// Returns 1 when HA runs and this node holds the active role ("/tmp/ha_role_active"), else 0.
TAVOHA_EXPORT int TAVOHAIsActive(void);

/// Returns 1 when the cluster is in safe mode ("/var/lib/ha/ha.safemode.info"); any other value
/// means that it is not. Runs with raised priority for storage web-service workers.
TAVOHA_EXPORT int TAVOHAIsSafemode(void);

/// Stops HA on this node: runs "/usr/tavo/tavoha/etc.defaults/rc.ha stop" and waits for it. Returns
/// the script's result, 0 for success, or -1 without running it when HA does not run.
TAVOHA_EXPORT int TAVOHAStop(void);

/// Fills `list`, of exactly `count` = HA_NET_INFO_COUNT records, with the interfaces that are
/// enabled in ha.conf, by index, an index's port before its bond; unused records are zero. Of more
/// than 12 the first 12 are given. Returns their number, or -1 with a logged ERROR for bad
/// arguments. A value that cannot be read is logged as ERROR, and its field left empty. Runs with
/// raised priority for storage web-service workers.
TAVOHA_EXPORT int TAVOHAGetHANetinfo(HA_NET_INFO* list, int count);

/// Returns 1 when HA runs and `address` is one that it manages on this node or the peer, else 0.
/// They are listed one a line in "/var/lib/ha/ip.local" and "/var/lib/ha/ip.remote"; lines of more
/// than 1023 characters are passed over.
TAVOHA_EXPORT int TAVOHAIsHAIPConflict(const char* address);

/// Writes the cluster's model name into `model` of `size` bytes: the one in ha.conf, or else the
/// node's own, "upnpmodelname" in "/etc.defaults/tavoinfo.conf", which is empty where that key is
/// missing. Returns 0, or -1 with a logged ERROR. Runs with raised priority for storage web-service
/// workers.
TAVOHA_EXPORT int TAVOHAGetModel(char* model, int size);

/// Writes the cluster's serial number, or with a nonzero `custom` its custom serial number, into
/// `serial` of `size` bytes: the one in ha.conf (see TAVOHAGetConf), or else, with a logged ERROR,
/// the first 35 characters of the node's own, "/proc/sys/kernel/tavo_serial" or
/// "/proc/sys/kernel/tavo_custom_serial". Where that does not fit, the buffer is zeroed and error
/// 0x0D00 recorded. Returns 0, or -1 with a logged ERROR. Runs with raised priority for storage
/// web-service workers.
TAVOHA_EXPORT int TAVOHAGetSN(int custom, char* serial, unsigned int size);

#ifdef __cplusplus
}  // extern "C"

/// How far the binding of two nodes has come. The HA scripts count the steps; only the last has a
/// meaning here.
enum _tag_BindingProgress TAVOHA_HELD_IN_INT {
  BINDING_PROGRESS_END = 7,
};

/// How far their separation has come. No step has a meaning here.
enum _tag_UnbindingProgress TAVOHA_HELD_IN_INT {};

/// Reads how far binding has come, "BINDING" in "/tmp/.ha.status". Returns 0, or -1 with *progress
/// at 0 and a logged ERROR that shows the error record.
TAVOHA_EXPORT int BindingProgressGet(_tag_BindingProgress* progress);

/// Writes it. Returns 0, or -1 with a logged ERROR that shows the error record. Waits for up to 30
/// seconds for other writers in /tmp.
TAVOHA_EXPORT int BindingProgressSet(_tag_BindingProgress progress);

/// BindingProgressGet for separation, "UNBINDING" in the same file.
TAVOHA_EXPORT int UnbindingProgressGet(_tag_UnbindingProgress* progress);

/// BindingProgressSet for separation.
TAVOHA_EXPORT int UnbindingProgressSet(_tag_UnbindingProgress progress);

/// Returns 1 while this node is being bound, else 0: "/tmp/.ha_passive_is_binding" exists, or
/// "/tmp/.ha.status" holds a binding progress other than BINDING_PROGRESS_END.
TAVOHA_EXPORT int HAIsBinding();

/// Returns whether the Corosync daemon lives ("/usr/tavo/tavoha/var/run/corosync.pid").
TAVOHA_EXPORT bool CrsyncIsRunning();

/// Returns 1 when the Pacemaker daemon lives ("/usr/tavo/tavoha/var/run/pacemaker.pid"), else 0.
TAVOHA_EXPORT BOOL PcmkIsRunning();

/// Returns 1 when both daemons live, else 0. Logs ERROR when only one does.
TAVOHA_EXPORT BOOL HAIsRunningCoroPace();

/// Returns 1 when an HA upgrade is under way ("/var/lib/ha/ha.upg"); any other value means not.
TAVOHA_EXPORT int HAIsUpgrading();

/// Prepares the process's environment for the cluster's tools and agents, as its later children
/// inherit it: adds their directories to "PATH" where it lacks them, and sets "OCF_ROOT". Returns
/// 0, or -1 with a logged ERROR. Not safe while other threads use the environment.
TAVOHA_EXPORT int HAEnvPathInit();
#endif

#endif  // TAVOHACORE_STATE_H_
