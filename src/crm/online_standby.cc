#include <tavohacore/conf.h>
#include <tavohacore/crm.h>
#include <tavohacore/frame.h>
#include <tavohacore/node.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "crm/tool_runner.h"
#include "crm/wait_until.h"
#include "frame/log.h"
#include "frame/pause.h"

namespace {

using crm::Budget;
using crm::kArgumentSize;
using crm::kCibAdmin;
using crm::kCrm;
using crm::WaitUntil;
using std::chrono::seconds;

constexpr char kLogModule[] = "libcrm";

// The option word of TAVLIBExecl; its meaning is the platform's.
constexpr int kExecOptions = 187;

constexpr Budget kOnlineBudget{.checks = 5, .pause = seconds(10)};
constexpr seconds kOnlineMustHold(10);
// The try after which the node is commanded online once more without waiting.
constexpr int kOnlineRetryAtOnce = 3;
constexpr Budget kStandbyBudget{.checks = 602, .pause = seconds(1)};
constexpr Budget kChainEndBudget{.checks = 162, .pause = seconds(30)};
constexpr Budget kPassiveBudget{.checks = 12, .pause = seconds(30)};

constexpr char kStandbyFailedMarker[] = "/var/lib/ha/ha_standby_failed";

// What must be gone from a node on standby, and what runs on a passive one.
constexpr const char* kGoneOnStandby[] = {"DUMMY_START", "CHECKPOINT_LAST", "CONF_SYNC", "DRBD",
                                          "INFO_SET"};
constexpr const char* kPassiveSets[] = {"CONF_SYNC", "INFO_SET", "CHECKPOINT_LAST", "DRBD"};
constexpr char kChainEnd[] = "DUMMY_END";

bool RunsAt(const char* host, const char* resource) {
  return HACrmIsResourceRunningAt(host, resource) == 1;
}

void CommandOnline(const char* host) {
  TAVLIBExecl(kCrm, kExecOptions, "node", "online", host, static_cast<char*>(nullptr));
}

void CommandStandby(const char* host) { TAVLIBExec(kCrm, "node", "standby", host, nullptr); }

// Commands the node online. Returns true when it then is online and stays so, and when it turns out
// to be in no state to be brought online.
bool TryOnline(_tag_NODE_TYPE_ node, const char* host, int retry) {
  CommandOnline(host);
  const int status = HANodeStatusGet(node);
  if (status != NODE_STATUS_ONLINE) return status < NODE_STATUS_ONLINE;
  frame::Pause(kOnlineMustHold);
  if (HANodeStatusGet(node) == NODE_STATUS_ONLINE) return true;
  HA_LOG(NOTICE, "node online retry: %d", retry);
  if (retry == kOnlineRetryAtOnce) CommandOnline(host);
  return false;
}

// Undoes a standby that did not complete, and leaves a mark of it.
void GiveUpStandby(const char* host) {
  char marker[sizeof kStandbyFailedMarker + kHostNameSize];
  snprintf(marker, sizeof marker, "%s-%s", kStandbyFailedMarker, host);
  TAVLIBFileTouch(marker);
  HA_LOG(ERROR, "crm standby timeout (host: %s)", host);
  TAVLIBExec(kCrm, "-F", "node", "clearstate", host);
}

int LocalConfigurationHas(const char* xpath) {
  const char* const command[] = {kCibAdmin, "--query", "--local", "--xpath", xpath, nullptr};
  return TAVLIBExecv(kCibAdmin, command, 1) == 0 ? 1 : 0;
}

}  // namespace

int HACrmOnline(_tag_NODE_TYPE_ node) {
  char host[kHostNameSize] = {};
  if (HAGetNodeHostName(node, host, sizeof host) == 0) return 1;
  if (HANodeStatusGet(node) <= NODE_STATUS_ONLINE) {
    HA_LOG(DEBUG, "Remote node is online");
    return 1;
  }
  TAVLIBExecl(kCrm, kExecOptions, "-F", "node", "clearstate", host, static_cast<char*>(nullptr));
  if (!WaitUntil(kOnlineBudget, [&](int retry) { return TryOnline(node, host, retry); })) {
    HA_LOG(ERROR, "node online timeout: %d", HANodeStatusGet(node));
  }
  return 1;
}

int HACrmStandby(_tag_NODE_TYPE_ node) {
  char host[kHostNameSize] = {};
  if (HAGetNodeHostName(node, host, sizeof host) == 0) return 0;
  HA_LOG(DEBUG, "%s %d", "HACrmStandby", node);
  CommandStandby(host);
  const auto resources_gone = [&](int) {
    return std::ranges::none_of(kGoneOnStandby,
                                [&](const char* resource) { return RunsAt(host, resource); });
  };
  if (!WaitUntil(kStandbyBudget, resources_gone, [&] { CommandStandby(host); })) {
    GiveUpStandby(host);
    return 0;
  }
  // This node's operations count, whichever node was put on standby.
  if (HACrmHasFailedOp(NODE_TYPE_LOCAL) == 1) {
    HA_LOG(ERROR, "Local has failed CRM operation");
    return 0;
  }
  return 1;
}

int HACrmHasFailedOp(_tag_NODE_TYPE_ node) {
  char host[kHostNameSize] = {};
  if (HAGetNodeHostName(node, host, sizeof host) == 0) return 0;
  char xpath[kArgumentSize];
  if (HASnprintf(xpath, sizeof xpath,
                 "//node_state[@id=\"%s\"]//nvpair[contains(@id,\"fail-count\")]", host) == -1) {
    HA_LOG(ERROR, "Failed to prepare XPath for query");
    return 0;
  }
  HA_LOG(INFO, "Query failed operations with XPath: %s", xpath);
  return LocalConfigurationHas(xpath);
}

int HAWaitCrmDone() {
  char local[kHostNameSize] = {};
  if (TAVOHAGetConf(HA_CONF_HOST_LOCAL, 0, local, sizeof local) != 0) {
    HA_LOG(ERROR, "Failed to get local hostname");
    return 0;
  }
  if (!WaitUntil(kChainEndBudget, [](int) { return RunsAt(nullptr, kChainEnd); })) {
    HA_LOG(ERROR, "Timed out on checking %s", kChainEnd);
  }
  if (RunsAt(local, kChainEnd)) return 1;
  const auto passive = [&](int) {
    return std::ranges::all_of(kPassiveSets,
                               [&](const char* resource) { return RunsAt(local, resource); });
  };
  if (WaitUntil(kPassiveBudget, passive)) return 1;
  HA_LOG(ERROR, "Timed out on checking all end, try to online again");
  HACrmOnline(NODE_TYPE_LOCAL);
  return 0;
}

int HACrmIsNodeExist(_tag_NODE_TYPE_ node) {
  char host[kHostNameSize] = {};
  if (HAGetNodeHostName(node, host, sizeof host) == 0) return 0;
  HA_LOG(DEBUG, "%s: %d", "HACrmIsNodeExist", node);
  char xpath[kArgumentSize];
  if (HASnprintf(xpath, sizeof xpath, "//node[@id=\"%s\"]", host) == -1) {
    HA_LOG(ERROR, "Failed to prepare XPath for query");
    return 0;
  }
  HA_LOG(INFO, "Query node existence with XPath: %s", xpath);
  return LocalConfigurationHas(xpath);
}
