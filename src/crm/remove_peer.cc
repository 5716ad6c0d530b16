#include <tavohacore/conf.h>
#include <tavohacore/crm.h>
#include <tavohacore/frame.h>
#include <tavohacore/node.h>

#include <chrono>
#include <cstdio>
#include <cstring>

#include "crm/tool_runner.h"
#include "crm/wait_until.h"
#include "frame/log.h"
#include "frame/pause.h"

namespace {

using crm::Budget;
using crm::kArgumentSize;
using crm::kCibAdmin;
using crm::kCorosyncObjctl;
using crm::kCrm;
using crm::kCrmNode;
using crm::WaitUntil;
using std::chrono::seconds;

constexpr char kLogModule[] = "libcrm";

constexpr Budget kOfflineBudget{.checks = 302, .pause = seconds(1)};
constexpr Budget kLostBudget{.checks = 302, .pause = seconds(1)};
constexpr int kChecksBetweenProgress = 30;
constexpr Budget kDeletionBudget{.checks = 12, .pause = seconds(30)};
// The peer must still be gone after that long.
constexpr seconds kGoneMustHold(30);

constexpr size_t kAddressSize = 20;

// The node ids that Corosync makes of the two cluster addresses: their bytes, read as a
// little-endian number.
constexpr char kFirstAddress[] = "169.254.1.1";
constexpr char kFirstNodeId[] = "16907945";
constexpr char kSecondNodeId[] = "33685161";

const char* NodeIdOfAddress(const char* address) {
  return strcmp(address, kFirstAddress) == 0 ? kFirstNodeId : kSecondNodeId;
}

bool ListMembers(crm::NameSet* members) {
  if (crm::CrmGetNodeList(members) != -1) return true;
  HA_LOG(ERROR, "Failed to get all locations");
  return false;
}

void WaitUntilOffline(const char* host) {
  const auto offline = [&](int check) {
    const int status = HANodeStatusGet(NODE_TYPE_REMOTE);
    if (check % kChecksBetweenProgress == 0) {
      HA_LOG(NOTICE, "waiting remote offline:%s:%d....", host, status);
    }
    return status != NODE_STATUS_ONLINE && status != NODE_STATUS_WARNING_ONLINE;
  };
  if (!WaitUntil(kOfflineBudget, offline)) {
    HA_LOG(ERROR, "Timed out on waiting remote offline: %s", host);
  }
}

void WaitUntilLost(const char* host) {
  const auto lost = [&](int check) {
    if (check % kChecksBetweenProgress == 0) HA_LOG(NOTICE, "waiting remote lost:%s...", host);
    crm::NameSet members;
    // Without a listing there is nothing to wait for.
    return !ListMembers(&members) || !members.contains(host);
  };
  if (!WaitUntil(kLostBudget, lost)) {
    HA_LOG(ERROR, "Timed out on waiting remote lost: %s", host);
  }
}

void RunDeletionCommands(const char* host, const char* node_id) {
  char node[kArgumentSize];
  char node_state[kArgumentSize];
  char member_key[kArgumentSize];
  snprintf(node, sizeof node, "<node uname=\"%s\"/>", host);
  snprintf(node_state, sizeof node_state, "<node_state uname=\"%s\"/>", host);
  snprintf(member_key, sizeof member_key, "runtime.totem.pg.mrp.srp.members.%s", host);
  const char* const commands[][7] = {
      {kCrm, "-F", "node", "fence", host},
      {kCrm, "-F", "node", "clearstate", host},
      {kCrm, "node", "delete", host},
      {kCrmNode, "-R", node_id, "--force"},
      {kCibAdmin, "--delete", "--obj_type", "nodes", "--crm_xml", node},
      {kCibAdmin, "--delete", "--obj_type", "status", "--crm_xml", node_state},
      {kCorosyncObjctl, "-d", member_key},
  };
  for (const auto& command : commands) TAVLIBExecv(command[0], command, 1);
}

// Deletes the peer's records. Returns whether the peer is gone, and stays gone.
bool TryDelete(const char* host, const char* node_id) {
  RunDeletionCommands(host, node_id);
  crm::NameSet members;
  if (!ListMembers(&members) || members.contains(host)) return false;
  frame::Pause(kGoneMustHold);
  // A listing that fails leaves the one before in force.
  ListMembers(&members);
  return !members.contains(host);
}

int RemovePeer(const char* text) {
  char host[kHostNameSize] = {};
  if (TAVOHAGetConf(HA_CONF_HOST_REMOTE, 0, host, sizeof host) != 0) {
    HA_LOG(ERROR, "Failed to get remote hostname");
    return -1;
  }
  if (host[0] == '\0') {
    HA_LOG(WARN, "No remote already");
    return -1;
  }
  char message[kArgumentSize];
  if (HASnprintf(message, sizeof message, "UNBIND  %s", text) == -1) {
    HA_LOG(ERROR, "Failed to prepare ais msg [%s]", text);
    return -1;
  }
  char address[kAddressSize] = {};
  if (TAVOHAGetConf(HA_CONF_DRBD_IP_REMOTE, 0, address, sizeof address) != 0) {
    HA_LOG(ERROR, "Failed to get remote hostname");
    return -1;
  }
  const char* node_id = NodeIdOfAddress(address);

  TAVLIBExec(kCrmNode, "--node", host, "--mesg", message);
  WaitUntilOffline(host);
  WaitUntilLost(host);
  if (!WaitUntil(kDeletionBudget, [&](int) { return TryDelete(host, node_id); })) {
    HA_LOG(ERROR, "Timed out on waiting remote info deleted: %s", host);
  }
  return 0;
}

}  // namespace

int HACrmRemoveRemote(const char* text) {
  HA_LOG(WARN, "HAUnbindRemote");
  const int result = RemovePeer(text);
  HACrmRemoveConstraint(NODE_TYPE_REMOTE);
  return result;
}
