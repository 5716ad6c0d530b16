#include "conf_keys.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <vector>

#include "command.h"
#include "words.h"

namespace tavohactl {
namespace {

constexpr ConfName kConfNames[] = {
    {"drbd_if", HA_CONF_DRBD_IF},
    {"drbd_if_origin", HA_CONF_DRBD_IF_ORIGIN},
    {"drbd_ip0", HA_CONF_DRBD_IP0},
    {"drbd_ip1", HA_CONF_DRBD_IP1},
    {"drbd_netmask", HA_CONF_DRBD_NETMASK},
    {"drbd_bond_mode_origin", HA_CONF_DRBD_BOND_MODE_ORIGIN},
    {"drbd_mtu_origin", HA_CONF_DRBD_MTU_ORIGIN},
    {"host0", HA_CONF_HOST0},
    {"host1", HA_CONF_HOST1},
    {"ip0", HA_CONF_IP0},
    {"ip1", HA_CONF_IP1},
    {"corosync_key", HA_CONF_COROSYNC_KEY},
    {"ha_sn", HA_CONF_HA_SN},
    {"ha_sn_custom", HA_CONF_HA_SN_CUSTOM},
    {"ha_model", HA_CONF_HA_MODEL},
    {"ha_unique", HA_CONF_HA_UNIQUE},
    {"ha_hostname", HA_CONF_HA_HOSTNAME},
    {"ha_if_main", HA_CONF_HA_IF_MAIN},
    {"ha_gateway", HA_CONF_HA_GATEWAY},
    {"begin_time", HA_CONF_BEGIN_TIME},
    {"is_hybrid", HA_CONF_IS_HYBRID},
    {"model_group", HA_CONF_MODEL_GROUP},
    {"model0", HA_CONF_MODEL0},
    {"model1", HA_CONF_MODEL1},
    {"lan_num", HA_CONF_LAN_NUM},
    {"ha_if", HA_CONF_HA_IF},
    {"ha_ip", HA_CONF_HA_IP},
    {"ha_netmask", HA_CONF_HA_NETMASK},
    {"ha_if_enabled", HA_CONF_HA_IF_ENABLED},
    {"ha_bond_if", HA_CONF_HA_BOND_IF},
    {"ha_bond_ip", HA_CONF_HA_BOND_IP},
    {"ha_bond_netmask", HA_CONF_HA_BOND_NETMASK},
    {"ha_bond_if_enabled", HA_CONF_HA_BOND_IF_ENABLED},
    {"ha_mac_", HA_CONF_HA_MAC},
    {"mac0_", HA_CONF_MAC0},
    {"mac1_", HA_CONF_MAC1},
    {"drbd_ip_local", HA_CONF_DRBD_IP_LOCAL},
    {"drbd_ip_remote", HA_CONF_DRBD_IP_REMOTE},
    {"host_local", HA_CONF_HOST_LOCAL},
    {"host_remote", HA_CONF_HOST_REMOTE},
    {"ip_local", HA_CONF_IP_LOCAL},
    {"ip_remote", HA_CONF_IP_REMOTE},
    {"mac_local_", HA_CONF_MAC_LOCAL},
    {"mac_remote_", HA_CONF_MAC_REMOTE},
};

const ConfName* Find(std::string_view name) {
  const auto* found = std::ranges::find(kConfNames, name, &ConfName::name);
  return found == std::end(kConfNames) ? nullptr : found;
}

std::string Unknown(std::string_view name) {
  std::vector<std::string> names;
  for (const ConfName& row : kConfNames) names.emplace_back(row.name);
  return fmt::format("ha.conf has no key \"{}\"{} (\"tavohactl conf keys\" lists them)", name,
                     Suggestion(name, names));
}

}  // namespace

std::span<const ConfName> ConfNames() { return kConfNames; }

ConfKey MakeConfKey(const ConfName& row, int index) {
  if (!IsIndexed(row.type)) return {std::string(row.name), row.type, 0};
  return {fmt::format("{}{}", row.name, index), row.type, index};
}

int ParseIndex(std::string_view name, std::string_view text) {
  int index = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
  if (error != std::errc() || end != text.data() + text.size() || index < 0 ||
      index >= HA_CONF_MAX_INDEX) {
    throw WrongUse(fmt::format("\"{}\" is no index of {}: it goes from 0 to {}", text, name,
                               HA_CONF_MAX_INDEX - 1));
  }
  return index;
}

ConfKey ParseConfKey(std::string_view name, std::string_view index) {
  const ConfName* found = Find(name);
  if (found == nullptr && index.empty()) {
    const size_t digits = name.find_last_not_of("0123456789") + 1;
    found = Find(name.substr(0, digits));
    if (found == nullptr || !IsIndexed(found->type)) throw WrongUse(Unknown(name));
    index = name.substr(digits);
  }
  if (found == nullptr) throw WrongUse(Unknown(name));
  if (!IsIndexed(found->type)) {
    if (!index.empty()) throw WrongUse(fmt::format("{} has no index", found->name));
    return MakeConfKey(*found, 0);
  }
  if (index.empty()) {
    throw WrongUse(fmt::format("{0} stands for {1} values: say which one, {0} 0 to {0} {2}",
                               found->name, HA_CONF_MAX_INDEX, HA_CONF_MAX_INDEX - 1));
  }
  return MakeConfKey(*found, ParseIndex(found->name, index));
}

}  // namespace tavohactl
