// The configuration store: single values of ha.conf by type and by interface.
//
// The file is "/usr/tavo/tavoha/etc/ha.conf". Reads prefer the mirror file "/tmp/.ha.conf", which
// fills itself with every value read or written except the Corosync key.
#ifndef TAVOHACORE_CONF_H_
#define TAVOHACORE_CONF_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

// The attributes of TAVOHAGetConfByIF.
enum {
  HA_CONF_IF_ATTR_NAME = 0,
  HA_CONF_IF_ATTR_ADDRESS = 1,
  HA_CONF_IF_ATTR_NETMASK = 2,
  HA_CONF_IF_ATTR_ENABLED = 3,
};

#ifdef __cplusplus
extern "C" {
#endif

// Reads the value of `type` (and of `index`, 0 to 11, for an indexed type) into `buffer` of `size`
// bytes, cut to size - 1 characters and terminated. (HA_CONF_HA_SN_CUSTOM with a size of exactly
// 31 fills all 31 bytes, without a terminator when the value is that long.) Returns 0, or -1 when
// an argument is bad, the key is missing or its value has 1024 characters or more; all but a
// missing key are logged as ERROR. Copies a value found only in ha.conf to the mirror file.
TAVOHA_EXPORT int TAVOHAGetConf(enum HA_CONF_TYPE type, int index, char* buffer, int size);

// Writes the value of `type` (and `index`) to ha.conf and then to the mirror file. Returns 0, or
// -1 with a logged ERROR. A failed write of the mirror leaves ha.conf changed.
TAVOHA_EXPORT int TAVOHASetConf(enum HA_CONF_TYPE type, int index, const char* value);

// Reads one attribute (HA_CONF_IF_ATTR_NAME to HA_CONF_IF_ATTR_ENABLED) of the cluster address
// configured for interface `ifname`, for example "eth0" or "ovs_bond1". Results as TAVOHAGetConf.
TAVOHA_EXPORT int TAVOHAGetConfByIF(int attribute, const char* ifname, char* buffer, int size);

// Returns 0 when this node is the one recorded as "host0", 1 when it is the other, -1 with a
// logged ERROR when "host0" or the local host name cannot be read. Runs with raised priority for
// storage web-service workers.
TAVOHA_EXPORT int TAVOHAGetHostDirection(void);

#ifdef __cplusplus
}  // extern "C"

// Returns ha.conf to its factory state: copies "/usr/tavo/tavoha/etc.defaults/ha.conf" over it
// with "/bin/cp", or, without that file, empties every value. The mirror file is not touched.
// Returns 0, or -1 with a logged ERROR.
TAVOHA_EXPORT int TAVOHAResetConf();

// Forgets the peer: sets "is_hybrid" to "false" and empties the peer's host name, address and MAC
// addresses. Stops at the first failure. Returns 0, or -1 with a logged ERROR.
TAVOHA_EXPORT int TAVOHACleanConfRemote();

// Returns the type that holds the host name of `node`, or HA_CONF_TYPE_INVALID.
TAVOHA_EXPORT HA_CONF_TYPE TAVOHANodeTypeToConfType(_tag_NODE_TYPE_ node);
#endif

#endif  // TAVOHACORE_CONF_H_
