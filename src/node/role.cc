#include <tavohacore/crm.h>
#include <tavohacore/node.h>
#include <tavohacore/state.h>

#include <algorithm>

#include "frame/boost.h"
#include "frame/host_name.h"
#include "frame/log.h"

namespace {

constexpr char kLogModule[] = "node";

// The master/slave sets: their slave halves are what a passive node runs.
constexpr const char* kPassiveSets[] = {"CONF_SYNC", "INFO_SET", "CHECKPOINT_LAST", "DRBD"};

int RoleOfHost(const char* host) {
  const auto runs = [&](const char* resource) {
    return HACrmIsResourceRunningAt(host, resource) == 1;
  };
  if (runs("DUMMY_END")) return NODE_ROLE_ACTIVE;
  if (runs("DUMMY_START")) return NODE_ROLE_ACTIVE_PARTIAL;
  return std::ranges::all_of(kPassiveSets, runs) ? NODE_ROLE_PASSIVE : NODE_ROLE_NOT_READY;
}

}  // namespace

int HANodeRoleTypeGet(_tag_NODE_TYPE_ node) {
  if (node != NODE_TYPE_LOCAL && node != NODE_TYPE_REMOTE) return NODE_ROLE_NONE;
  if (TAVOHAIsRunning() == 0) return NODE_ROLE_NONE;
  if (TAVOHAIsSafemode() == 1) return NODE_ROLE_SAFEMODE;
  if (HANodeStatusGet(node) != NODE_STATUS_ONLINE) return NODE_ROLE_NONE;
  char host[kHostNameSize] = {};
  if (HAGetNodeHostName(node, host, sizeof host) == 0) {
    HA_LOG(ERROR, "Failed to get node's hostname");
    return NODE_ROLE_NONE;
  }
  return RoleOfHost(host);
}

int TAVOHANodeRoleGet() {
  const frame::PriorityBoost boost;
  return HANodeRoleTypeGet(NODE_TYPE_LOCAL);
}
