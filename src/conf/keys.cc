#include "conf/keys.h"

#include <tavohacore/conf.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "frame/boost.h"
#include "frame/host_name.h"
#include "frame/log.h"

namespace {

constexpr char kLogModule[] = "conf";

// By conf type.
constexpr std::array<const char*, conf::kRealTypeCount> kKeys = {
    "drbd_if",
    "drbd_if_origin",
    "drbd_ip0",
    "drbd_ip1",
    "drbd_netmask",
    "drbd_bond_mode_origin",
    "drbd_mtu_origin",
    "host0",
    "host1",
    "ip0",
    "ip1",
    "corosync_key",
    "ha_sn",
    "ha_sn_custom",
    "ha_model",
    "ha_unique",
    "ha_hostname",
    "ha_if_main",
    "ha_gateway",
    "begin_time",
    "is_hybrid",
    "model_group",
    "model0",
    "model1",
    "lan_num",
    "ha_if",
    "ha_ip",
    "ha_netmask",
    "ha_if_enabled",
    "ha_bond_if",
    "ha_bond_ip",
    "ha_bond_netmask",
    "ha_bond_if_enabled",
    "ha_mac_",
    "mac0_",
    "mac1_",
};

// By virtual type, less the first of them: the real type on host0 and on host1.
constexpr HA_CONF_TYPE kRealTypes[][2] = {
    {HA_CONF_DRBD_IP0, HA_CONF_DRBD_IP1},  // HA_CONF_DRBD_IP_LOCAL
    {HA_CONF_DRBD_IP1, HA_CONF_DRBD_IP0},  // HA_CONF_DRBD_IP_REMOTE
    {HA_CONF_HOST0, HA_CONF_HOST1},        // HA_CONF_HOST_LOCAL
    {HA_CONF_HOST1, HA_CONF_HOST0},        // HA_CONF_HOST_REMOTE
    {HA_CONF_IP0, HA_CONF_IP1},            // HA_CONF_IP_LOCAL
    {HA_CONF_IP1, HA_CONF_IP0},            // HA_CONF_IP_REMOTE
    {HA_CONF_MAC0, HA_CONF_MAC1},          // HA_CONF_MAC_LOCAL
    {HA_CONF_MAC1, HA_CONF_MAC0},          // HA_CONF_MAC_REMOTE
};

}  // namespace

namespace conf {

const char* TableKey(HA_CONF_TYPE type) { return kKeys[static_cast<size_t>(type)]; }

bool HAConfTypeToRealType(HA_CONF_TYPE type, HA_CONF_TYPE* real_type) {
  if (type < 0 || type >= HA_CONF_TYPE_INVALID) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return false;
  }
  if (type < kRealTypeCount) {
    *real_type = type;
    return true;
  }
  const int direction = TAVOHAGetHostDirection();
  if (direction == -1) {
    HA_LOG(ERROR, "Failed to get host direction");
    HA_LOG(ERROR, "Failed to map virtual conf type %d to real conf type", type);
    return false;
  }
  *real_type = kRealTypes[type - HA_CONF_DRBD_IP_LOCAL][direction];
  return true;
}

bool HAConfTypeToKey(HA_CONF_TYPE real_type, int index, char (&key)[kKeySize]) {
  if (real_type < 0 || real_type >= kRealTypeCount) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return false;
  }
  if (!IsIndexed(real_type)) {
    HASnprintf(key, sizeof key, "%s", TableKey(real_type));
    return true;
  }
  if (index < 0 || index >= HA_CONF_MAX_INDEX) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return false;
  }
  HASnprintf(key, sizeof key, "%s%d", TableKey(real_type), index);
  return true;
}

}  // namespace conf

int TAVOHAGetHostDirection() {
  const frame::PriorityBoost boost;
  char host0[kHostNameSize] = {};
  if (TAVOHAGetConf(HA_CONF_HOST0, 0, host0, sizeof host0) != 0) {
    HA_LOG(ERROR, "Failed to get conf %s", conf::TableKey(HA_CONF_HOST0));
    return -1;
  }
  char local[kHostNameSize] = {};
  if (GetLocalHostname(local) < 1) {
    HA_LOG(ERROR, "Failed to get host name");
    return -1;
  }
  return strcmp(host0, local) == 0 ? 0 : 1;
}

HA_CONF_TYPE TAVOHANodeTypeToConfType(_tag_NODE_TYPE_ node) {
  switch (node) {
    case NODE_TYPE_LOCAL:
      return HA_CONF_HOST_LOCAL;
    case NODE_TYPE_REMOTE:
      return HA_CONF_HOST_REMOTE;
    case NODE_TYPE_HOST0:
      return HA_CONF_HOST0;
    case NODE_TYPE_HOST1:
      return HA_CONF_HOST1;
    case NODE_TYPE_NONE:
      break;
  }
  return HA_CONF_TYPE_INVALID;
}
