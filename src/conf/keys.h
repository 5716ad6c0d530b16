// From conf types to the keys of ha.conf. The key table is the only list of keys.
#ifndef CONF_KEYS_H_
#define CONF_KEYS_H_

#include <tavohacore/frame.h>
#include <tavohacore/types.h>

namespace conf {

inline constexpr char kConfFile[] = "/usr/tavo/tavoha/etc/ha.conf";
inline constexpr char kDefaultsFile[] = "/usr/tavo/tavoha/etc.defaults/ha.conf";
inline constexpr char kMirrorFile[] = "/tmp/.ha.conf";
inline constexpr char kLineFormat[] = "%s=\"%s\"\n";

inline constexpr int kRealTypeCount = HA_CONF_MAC1 + 1;
inline constexpr int kKeySize = 32;
inline constexpr int kValueSize = 1024;

// Whether `type` has one key for each index.
constexpr bool IsIndexed(HA_CONF_TYPE type) { return type >= HA_CONF_HA_IF; }

// Whether the mirror file may hold `type`: the Corosync key is a secret, and /tmp no place for it.
constexpr bool IsMirrored(HA_CONF_TYPE type) { return type != HA_CONF_COROSYNC_KEY; }

// The type of one attribute of the cluster address on the interface `info`: bonds have keys of
// their own. `attribute` is one of HA_CONF_IF_ATTR_NAME to HA_CONF_IF_ATTR_ENABLED.
constexpr HA_CONF_TYPE InterfaceType(const HA_IF_NAME_INFO& info, int attribute) {
  const bool bond = info.type == HA_IF_TYPE_BOND || info.type == HA_IF_TYPE_OVS_BOND;
  return static_cast<HA_CONF_TYPE>((bond ? HA_CONF_HA_BOND_IF : HA_CONF_HA_IF) + attribute);
}

// The table's key of a real type, without an index.
const char* TableKey(HA_CONF_TYPE type);

// Resolves a type that stands for the local or the remote node. Real types stay as they are. Logs
// and returns false for a bad type, or when the host direction is not known.
bool HAConfTypeToRealType(HA_CONF_TYPE type, HA_CONF_TYPE* real_type);

// Builds the key of a real type and index. Logs and returns false when either is out of range.
bool HAConfTypeToKey(HA_CONF_TYPE real_type, int index, char (&key)[kKeySize]);

}  // namespace conf

#endif  // CONF_KEYS_H_
