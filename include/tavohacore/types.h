// Types that several subsystems share.
#ifndef TAVOHACORE_TYPES_H_
#define TAVOHACORE_TYPES_H_

#include <tavohacore/export.h>

// The platform's boolean: 1 for true and 0 for false.
typedef int BOOL;

// Says which node a question is about.
enum _tag_NODE_TYPE_ TAVOHA_HELD_IN_INT {
  NODE_TYPE_NONE = 0,
  NODE_TYPE_LOCAL = 1,   // this node
  NODE_TYPE_REMOTE = 2,  // the peer
  NODE_TYPE_HOST0 = 3,   // the node recorded as "host0" in ha.conf
  NODE_TYPE_HOST1 = 4,   // the node recorded as "host1" in ha.conf
};

// Names one value of ha.conf. The numbers are part of the interface.
enum HA_CONF_TYPE TAVOHA_HELD_IN_INT {
  // Keys that stand once in the file. An index passed with them is ignored.
  HA_CONF_DRBD_IF = 0,
  HA_CONF_DRBD_IF_ORIGIN = 1,
  HA_CONF_DRBD_IP0 = 2,
  HA_CONF_DRBD_IP1 = 3,
  HA_CONF_DRBD_NETMASK = 4,
  HA_CONF_DRBD_BOND_MODE_ORIGIN = 5,
  HA_CONF_DRBD_MTU_ORIGIN = 6,
  HA_CONF_HOST0 = 7,
  HA_CONF_HOST1 = 8,
  HA_CONF_IP0 = 9,
  HA_CONF_IP1 = 10,
  HA_CONF_COROSYNC_KEY = 11,  // the one key that never enters the mirror file
  HA_CONF_HA_SN = 12,
  HA_CONF_HA_SN_CUSTOM = 13,
  HA_CONF_HA_MODEL = 14,
  HA_CONF_HA_UNIQUE = 15,
  HA_CONF_HA_HOSTNAME = 16,
  HA_CONF_HA_IF_MAIN = 17,
  HA_CONF_HA_GATEWAY = 18,
  HA_CONF_BEGIN_TIME = 19,
  HA_CONF_IS_HYBRID = 20,
  HA_CONF_MODEL_GROUP = 21,
  HA_CONF_MODEL0 = 22,
  HA_CONF_MODEL1 = 23,
  HA_CONF_LAN_NUM = 24,
  // Keys that stand once for each index from 0 to HA_CONF_MAX_INDEX - 1.
  HA_CONF_HA_IF = 25,
  HA_CONF_HA_IP = 26,
  HA_CONF_HA_NETMASK = 27,
  HA_CONF_HA_IF_ENABLED = 28,
  HA_CONF_HA_BOND_IF = 29,
  HA_CONF_HA_BOND_IP = 30,
  HA_CONF_HA_BOND_NETMASK = 31,
  HA_CONF_HA_BOND_IF_ENABLED = 32,
  HA_CONF_HA_MAC = 33,
  HA_CONF_MAC0 = 34,
  HA_CONF_MAC1 = 35,
  // This node's or the peer's copy of a key that stands once for each node.
  HA_CONF_DRBD_IP_LOCAL = 36,
  HA_CONF_DRBD_IP_REMOTE = 37,
  HA_CONF_HOST_LOCAL = 38,
  HA_CONF_HOST_REMOTE = 39,
  HA_CONF_IP_LOCAL = 40,
  HA_CONF_IP_REMOTE = 41,
  HA_CONF_MAC_LOCAL = 42,
  HA_CONF_MAC_REMOTE = 43,
  HA_CONF_TYPE_INVALID = 44,  // no value at all
};

enum { HA_CONF_MAX_INDEX = 12 };

#ifndef __cplusplus
typedef enum _tag_NODE_TYPE_ _tag_NODE_TYPE_;
typedef enum HA_CONF_TYPE HA_CONF_TYPE;
#endif

#endif  // TAVOHACORE_TYPES_H_
