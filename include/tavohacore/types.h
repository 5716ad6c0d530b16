/// @file
/// Types that several subsystems share.
#ifndef TAVOHACORE_TYPES_H_
#define TAVOHACORE_TYPES_H_

#include <tavohacore/export.h>

/// The platform's boolean: 1 for true and 0 for false.
typedef int BOOL;

/// Says which node a question is about.
enum _tag_NODE_TYPE_ TAVOHA_HELD_IN_INT {
  NODE_TYPE_NONE = 0,    ///< no node
  NODE_TYPE_LOCAL = 1,   ///< this node
  NODE_TYPE_REMOTE = 2,  ///< the peer
  NODE_TYPE_HOST0 = 3,   ///< the node recorded as "host0" in ha.conf
  NODE_TYPE_HOST1 = 4,   ///< the node recorded as "host1" in ha.conf
};

/// Names one value of ha.conf by its key. The numbers are part of the interface. What has no
/// meaning here is kept for the programs that set it.
///
/// HA_CONF_DRBD_IF to HA_CONF_LAN_NUM stand once, and an index passed with them is ignored.
/// HA_CONF_HA_IF to HA_CONF_MAC1 stand once for each index from 0 to 11, which the key ends with:
/// "ha_ip3", "mac0_11". HA_CONF_DRBD_IP_LOCAL to HA_CONF_MAC_REMOTE are this node's (LOCAL) or the
/// peer's (REMOTE) copy of a key that stands once for each node; see TAVOHAGetHostDirection.
enum HA_CONF_TYPE TAVOHA_HELD_IN_INT {
  HA_CONF_DRBD_IF = 0,                ///< "drbd_if": the heartbeat interface
  HA_CONF_DRBD_IF_ORIGIN = 1,         ///< "drbd_if_origin"
  HA_CONF_DRBD_IP0 = 2,               ///< "drbd_ip0": host0 on the replication link
  HA_CONF_DRBD_IP1 = 3,               ///< "drbd_ip1": host1 on the replication link
  HA_CONF_DRBD_NETMASK = 4,           ///< "drbd_netmask"
  HA_CONF_DRBD_BOND_MODE_ORIGIN = 5,  ///< "drbd_bond_mode_origin"
  HA_CONF_DRBD_MTU_ORIGIN = 6,        ///< "drbd_mtu_origin"
  HA_CONF_HOST0 = 7,                  ///< "host0": host name of host0
  HA_CONF_HOST1 = 8,                  ///< "host1": host name of host1
  HA_CONF_IP0 = 9,                    ///< "ip0": address of host0
  HA_CONF_IP1 = 10,                   ///< "ip1": address of host1
  HA_CONF_COROSYNC_KEY = 11,          ///< "corosync_key", the one that never enters the mirror file
  HA_CONF_HA_SN = 12,                 ///< "ha_sn": the cluster's serial number
  HA_CONF_HA_SN_CUSTOM = 13,          ///< "ha_sn_custom": its custom serial number
  HA_CONF_HA_MODEL = 14,              ///< "ha_model": its model name
  HA_CONF_HA_UNIQUE = 15,             ///< "ha_unique"
  HA_CONF_HA_HOSTNAME = 16,           ///< "ha_hostname": the cluster's host name
  HA_CONF_HA_IF_MAIN = 17,            ///< "ha_if_main": the main cluster interface
  HA_CONF_HA_GATEWAY = 18,            ///< "ha_gateway"
  HA_CONF_BEGIN_TIME = 19,            ///< "begin_time"
  HA_CONF_IS_HYBRID = 20,             ///< "is_hybrid": "true" or "false"
  HA_CONF_MODEL_GROUP = 21,           ///< "model_group"
  HA_CONF_MODEL0 = 22,                ///< "model0"
  HA_CONF_MODEL1 = 23,                ///< "model1"
  HA_CONF_LAN_NUM = 24,               ///< "lan_num"
  HA_CONF_HA_IF = 25,                 ///< "ha_if": a port that carries a cluster address
  HA_CONF_HA_IP = 26,                 ///< "ha_ip": that address
  HA_CONF_HA_NETMASK = 27,            ///< "ha_netmask": its netmask
  HA_CONF_HA_IF_ENABLED = 28,         ///< "ha_if_enabled": "true" when in use
  HA_CONF_HA_BOND_IF = 29,            ///< "ha_bond_if": a bond that carries one
  HA_CONF_HA_BOND_IP = 30,            ///< "ha_bond_ip": that address
  HA_CONF_HA_BOND_NETMASK = 31,       ///< "ha_bond_netmask": its netmask
  HA_CONF_HA_BOND_IF_ENABLED = 32,    ///< "ha_bond_if_enabled": "true" when in use
  HA_CONF_HA_MAC = 33,                ///< "ha_mac_": MAC address of a data port
  HA_CONF_MAC0 = 34,                  ///< "mac0_": that of a port of host0
  HA_CONF_MAC1 = 35,                  ///< "mac1_": that of a port of host1
  HA_CONF_DRBD_IP_LOCAL = 36,         ///< HA_CONF_DRBD_IP0 or HA_CONF_DRBD_IP1
  HA_CONF_DRBD_IP_REMOTE = 37,        ///< the other of the two
  HA_CONF_HOST_LOCAL = 38,            ///< HA_CONF_HOST0 or HA_CONF_HOST1
  HA_CONF_HOST_REMOTE = 39,           ///< the other of the two
  HA_CONF_IP_LOCAL = 40,              ///< HA_CONF_IP0 or HA_CONF_IP1
  HA_CONF_IP_REMOTE = 41,             ///< the other of the two
  HA_CONF_MAC_LOCAL = 42,             ///< HA_CONF_MAC0 or HA_CONF_MAC1
  HA_CONF_MAC_REMOTE = 43,            ///< the other of the two
  HA_CONF_TYPE_INVALID = 44,          ///< no value at all
};

/// How many indices an indexed value has.
enum { HA_CONF_MAX_INDEX = 12 };

#ifndef __cplusplus
typedef enum _tag_NODE_TYPE_ _tag_NODE_TYPE_;
typedef enum HA_CONF_TYPE HA_CONF_TYPE;
#endif

#endif  // TAVOHACORE_TYPES_H_
