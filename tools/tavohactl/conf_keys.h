// The names of the configuration values. The library knows them by number only.
#ifndef TAVOHACTL_CONF_KEYS_H_
#define TAVOHACTL_CONF_KEYS_H_

#include <tavohacore.h>

#include <span>
#include <string>
#include <string_view>

namespace tavohactl {

struct ConfName {
  std::string_view name;  // the key in ha.conf, less its index, or what stands for two of them
  HA_CONF_TYPE type;
};

// By type: the keys of the file first, then the names for this node's and the peer's copy.
std::span<const ConfName> ConfNames();

// Whether `type` has a value for each index from 0 to HA_CONF_MAX_INDEX - 1.
constexpr bool IsIndexed(HA_CONF_TYPE type) {
  return (type >= HA_CONF_HA_IF && type <= HA_CONF_MAC1) || type == HA_CONF_MAC_LOCAL ||
         type == HA_CONF_MAC_REMOTE;
}

// One value of the configuration.
struct ConfKey {
  std::string name;  // in full: with the index, where it has one
  HA_CONF_TYPE type;
  int index;  // 0 where it has none
};

// The key of a row of ConfNames() and an index in range.
ConfKey MakeConfKey(const ConfName& row, int index);

// Understands an index of `name`. Throws WrongUse.
int ParseIndex(std::string_view name, std::string_view text);

// Understands a name, with its index behind it ("ha_ip3") or apart ("ha_ip", "3"); `index` is empty
// where there is none. Throws WrongUse.
ConfKey ParseConfKey(std::string_view name, std::string_view index);

}  // namespace tavohactl

#endif  // TAVOHACTL_CONF_KEYS_H_
