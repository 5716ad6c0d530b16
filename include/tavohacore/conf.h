/// @file
/// The configuration store: single values of ha.conf by type and by interface, the whole file as
/// one record, host names, and the cluster addresses on the node's interfaces.
///
/// The file is "/usr/tavo/tavoha/etc/ha.conf". Reads prefer the mirror file "/tmp/.ha.conf", which
/// fills itself with every value read or written except the Corosync key. Only the record and
/// TAVOHAResetConf pass the mirror file by.
#ifndef TAVOHACORE_CONF_H_
#define TAVOHACORE_CONF_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

/// The attributes of TAVOHAGetConfByIF.
enum {
  HA_CONF_IF_ATTR_NAME = 0,
  HA_CONF_IF_ATTR_ADDRESS = 1,
  HA_CONF_IF_ATTR_NETMASK = 2,
  HA_CONF_IF_ATTR_ENABLED = 3,
};

/// The whole of ha.conf. Other programs and the other node hold the same 2902 bytes, so order and
/// widths never change. Each field is a terminated text; the second dimension of an indexed field
/// is that of its texts.
typedef struct HA_CONF_STRUCT {
  /// @{
  /// The value of the key of this name; of an indexed key, that for each index.
  char drbd_if[16];
  char drbd_if_origin[16];
  char drbd_ip0[20];
  char drbd_ip1[20];
  char drbd_netmask[20];
  char drbd_bond_mode_origin[2];
  char drbd_mtu_origin[6];
  char host0[64];
  char host1[64];
  char ip0[20];
  char ip1[20];
  char corosync_key[10];  ///< read, but never written back
  char ha_sn[36];
  char ha_sn_custom[32];
  char ha_model[16];
  char ha_unique[64];
  char ha_hostname[64];
  char ha_if_main[16];
  char ha_gateway[20];
  char ha_if[HA_CONF_MAX_INDEX][16];
  char ha_ip[HA_CONF_MAX_INDEX][20];
  char ha_netmask[HA_CONF_MAX_INDEX][20];
  char ha_if_enabled[HA_CONF_MAX_INDEX][8];
  char ha_bond_if[HA_CONF_MAX_INDEX][16];
  char ha_bond_ip[HA_CONF_MAX_INDEX][20];
  char ha_bond_netmask[HA_CONF_MAX_INDEX][20];
  char ha_bond_if_enabled[HA_CONF_MAX_INDEX][8];
  char ha_mac[HA_CONF_MAX_INDEX][18];
  char mac0[HA_CONF_MAX_INDEX][18];
  char mac1[HA_CONF_MAX_INDEX][18];
  char begin_time[32];
  char is_hybrid[8];
  char model_group[16];
  char model0[64];
  char model1[64];
  char lan_num[8];
  /// @}
} HA_CONF_STRUCT;

#ifdef __cplusplus
extern "C" {
#endif

/// Reads the value of `type` (and of `index`, 0 to 11, for an indexed type) into `buffer` of `size`
/// bytes, cut to size - 1 characters and terminated. (HA_CONF_HA_SN_CUSTOM with a size of exactly
/// 31 fills all 31 bytes, without a terminator when the value is that long.) Returns 0, or -1 when
/// an argument is bad, the file cannot be read, the key is missing or its value has 1024 characters
/// or more; bad arguments and long values are logged as ERROR. Copies a value found only in ha.conf
/// to the mirror file. Each write of a file waits for up to 30 seconds for other writers in its
/// directory.
TAVOHA_EXPORT int TAVOHAGetConf(enum HA_CONF_TYPE type, int index, char* buffer, int size);

/// Writes the value of `type` (and `index`) to ha.conf and then to the mirror file. Returns 0, or
/// -1 with a logged ERROR. A failed write of the mirror leaves ha.conf changed.
TAVOHA_EXPORT int TAVOHASetConf(enum HA_CONF_TYPE type, int index, const char* value);

/// Reads one attribute (HA_CONF_IF_ATTR_NAME to HA_CONF_IF_ATTR_ENABLED) of the cluster address
/// configured for interface `ifname`, for example "eth0" or "ovs_bond1". Results as TAVOHAGetConf;
/// an interface of unknown kind is not logged, and records 0xD900.
TAVOHA_EXPORT int TAVOHAGetConfByIF(int attribute, const char* ifname, char* buffer, int size);

/// Returns 0 when this node is the one recorded as "host0", 1 when it is the other, -1 with a
/// logged ERROR when "host0" or the local host name cannot be read. Runs with raised priority for
/// storage web-service workers.
TAVOHA_EXPORT int TAVOHAGetHostDirection(void);

/// @name Host names and the heartbeat interface
///
/// Each returns 0, or -1 with a logged ERROR and the buffer as it was. A text that does not fit is
/// cut to size - 1 characters. They run with raised priority for storage web-service workers.
/// @{

/// Reads the cluster's host name ("ha_hostname") into `buffer` of `size` bytes.
TAVOHA_EXPORT int TAVOHAGetHAHostname(char* buffer, unsigned int size);

/// Sets the cluster's host name.
TAVOHA_EXPORT int TAVOHASetHAHostname(const char* name);

/// Writes the host name of a node into `buffer` of `size` bytes, at least 64: while HA runs, the
/// one recorded for this node (`local` nonzero) or the peer (zero); else the kernel's short host
/// name of this node, whatever `local` says. That is read under the platform's host-name lock,
/// which may be waited for five seconds, and fails with error record 0x0D00 (null buffer), 0x0400
/// (lock not had) or 0x8100 (name not read).
TAVOHA_EXPORT int TAVOHAGetOriginalHostname(char* buffer, unsigned int size, BOOL local);

/// Reads the name of the heartbeat interface ("drbd_if").
TAVOHA_EXPORT int TAVOHAGetHeartbeatIF(char* buffer, int size);

/// @}

/// @name Interfaces
///
/// They run with raised priority for storage web-service workers. Each returns 0, or -1 with a
/// logged ERROR except where it says otherwise. `ifname` is, for example, "eth0" or "ovs_bond1".
/// @{

/// Reads the name of the main cluster interface. Returns -1, not logged, when HA does not run or no
/// such name is recorded.
TAVOHA_EXPORT int TAVOHAGetIFMain(char* buffer, int size);

/// Reads what is recorded for `ifname`: its cluster address and netmask, and in *enabled whether
/// they are in use, 1 or 0. When HA does not run, returns -1 without logging. On failure the
/// buffers may be filled in part.
TAVOHA_EXPORT int TAVOHAGetIFConfInfo(const char* ifname, char* address, int addressSize,
                                      char* netmask, int netmaskSize, BOOL* enabled);

/// Records the cluster address and netmask of `ifname` and puts them in use (`enable` of 1), or
/// takes them out of use, in which case what is recorded stays; then restarts the cluster's address
/// with HACrmRestartIP, whose time and tools are its own. Returns 0 when that succeeded: a value
/// that could not be written is logged as ERROR, but does not count.
TAVOHA_EXPORT int TAVOHASetIFConfInfo(const char* ifname, const char* address, const char* netmask,
                                      BOOL enable);

/// Writes the MAC address of data port `index` into `buffer` of `size` bytes, of which it needs 18:
/// the recorded one while HA runs, else, or when none is recorded, that of device "ovs_ethINDEX". A
/// socket that cannot be opened gives -1 without logging.
TAVOHA_EXPORT int TAVOHAGetMac(unsigned int index, char* buffer, unsigned int size);

/// Writes the address and netmask that "IFNAME:HA" has at this moment. `ifname` must be recorded
/// and enabled; a null or empty one stands for the main cluster interface. A buffer that is null or
/// whose size is below 1 is left out. Returns -1 with error record 0x0D00 (nothing asked for) or
/// 0xD900 (HA does not run), not logged; an interface that is not enabled is not logged either. The
/// alias name is cut to 15 characters.
TAVOHA_EXPORT int TAVOHAGetRelatedIFInfo(const char* ifname, char* address, int addressSize,
                                         char* netmask, int netmaskSize);
/// @}

#ifdef __cplusplus
}  // extern "C"

/// Fills `record` from ha.conf. Values are cut to their field's width less one; the field of a
/// missing key keeps what it holds. Returns 0 when at least one key was read, else -1. Logs each
/// missing key (DEBUG for one that stands once, ERROR for an indexed one) and each failed read
/// (ERROR). Reads the file 157 times.
TAVOHA_EXPORT int HAConfStructGet(HA_CONF_STRUCT* record);

/// Writes every field but the Corosync key to ha.conf in one step, empty ones included. A field
/// without a terminator counts less its last byte. The mirror file keeps the old values, which
/// TAVOHAGetConf goes on returning. Returns 0, or -1 with a logged ERROR and the file unchanged.
TAVOHA_EXPORT int HAConfStructSet(const HA_CONF_STRUCT* record);

/// TAVOHAGetHeartbeatIF at the caller's own priority.
TAVOHA_EXPORT int HAGetHeartbeatIF(char* buffer, int size);

/// Returns ha.conf to its factory state: copies "/usr/tavo/tavoha/etc.defaults/ha.conf" over it
/// with "/bin/cp", or, without that file, empties every value. The mirror file is not touched.
/// Returns 0, or -1 with a logged ERROR.
TAVOHA_EXPORT int TAVOHAResetConf();

/// Forgets the peer: sets "is_hybrid" to "false" and empties the peer's host name, address and MAC
/// addresses. Stops at the first failure. Returns 0, or -1 with a logged ERROR.
TAVOHA_EXPORT int TAVOHACleanConfRemote();

/// Returns the type that holds the host name of `node`, or HA_CONF_TYPE_INVALID.
TAVOHA_EXPORT HA_CONF_TYPE TAVOHANodeTypeToConfType(_tag_NODE_TYPE_ node);
#endif

#endif  // TAVOHACORE_CONF_H_
