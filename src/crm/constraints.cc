#include <tavohacore/crm.h>
#include <tavohacore/frame.h>
#include <tavohacore/node.h>

#include <iterator>

#include "crm/tool_runner.h"
#include "frame/file_lock.h"
#include "frame/log.h"

namespace {

using crm::kArgumentSize;
using crm::kCibAdmin;

constexpr char kLogModule[] = "libcrm";

// By type, formatted with the node's host name: one rule is there once for each node.
constexpr const char* kRuleIds[] = {
    "RULE_SYNC_DONE",   "RULE_SPACE_SYNC", "RULE_SERV_FAIL",    "RULE_MEMSIZE",
    "RULE_PING_SERVER", "RULE_SB_%s",      "RULE_VER_MISMATCH",
};

// Forms the id of the rule of `type`. Only CRM_CONSTRAINT_SB needs a host name.
bool CrmGetRuleId(char (&id)[kArgumentSize], CRM_CONSTRAINT_TYPE type, const char* host) {
  if (type < 0 || type > CRM_CONSTRAINT_VER_MISMATCH) return false;
  if (type == CRM_CONSTRAINT_SB && host == nullptr) return false;
  return HASnprintf(id, sizeof id, kRuleIds[type], host) != -1;
}

void AddRule(const char* id, const char* host) {
  char element[kArgumentSize];
  HASnprintf(
      element, sizeof element,
      "<configuration ><constraints ><rsc_location id=\"%s\" node=\"%s\" rsc=\"DUMMY_START\" "
      "score=\"-INFINITY\"/></constraints></configuration>",
      id, host);
  const char* const command[] = {kCibAdmin, "--create", "-X", element, nullptr};
  crm::CrmExecUntil(id, crm::CrmHasLocationConstraint, true, command);
  HA_LOG(INFO, "Add constraint %s on node %s", id, host);
}

void RemoveRule(const char* id) {
  char xpath[kArgumentSize];
  HASnprintf(xpath, sizeof xpath, "//rsc_location[@id='%s']", id);
  const char* const command[] = {kCibAdmin, "--delete", "--xpath", xpath, nullptr};
  crm::CrmExecUntil(id, crm::CrmHasLocationConstraint, false, command);
  HA_LOG(INFO, "Remove constraint %s", id);
}

}  // namespace

int HACrmSetConstraintOnNode(BOOL add, _tag_NODE_TYPE_ node, CRM_CONSTRAINT_TYPE type) {
  char host[kHostNameSize] = {};
  if ((add != 0 || type == CRM_CONSTRAINT_SB) && HAGetNodeHostName(node, host, sizeof host) == 0) {
    HA_LOG(ERROR, "Failed to get host name of node type %d", node);
    return -1;
  }
  char id[kArgumentSize];
  if (!CrmGetRuleId(id, type, host)) return -1;

  const frame::FileLock lock(HA_LOCK_CRM_OPERATION, frame::kLockRetries);
  if (!lock.held()) HA_LOG(ERROR, "Failed to lock for setting constraint");
  if (add == 1) {
    AddRule(id, host);
  } else {
    RemoveRule(id);
  }
  return 0;
}

int HACrmHasConstraintOnNode(_tag_NODE_TYPE_ node, CRM_CONSTRAINT_TYPE type) {
  if (node == NODE_TYPE_REMOTE && HAStatusGet() == HA_STATUS_SINGLE_NODE) return 0;
  char host[kHostNameSize] = {};
  if (HAGetNodeHostName(node, host, sizeof host) == 0) {
    HA_LOG(ERROR, "Failed to get host name of node type %d", node);
    return 0;
  }
  char id[kArgumentSize];
  if (!CrmGetRuleId(id, type, host)) return 0;
  char xpath[kArgumentSize];
  if (HASnprintf(xpath, sizeof xpath, "//rsc_location[@id=\"%s\" and @node=\"%s\"]", id, host) ==
      -1) {
    return 0;
  }
  const char* const command[] = {kCibAdmin, "--query", "--xpath", xpath, nullptr};
  return TAVLIBExecv(kCibAdmin, command, 1) == 0 ? 1 : 0;
}

int HACrmHasAnyConstraintOnNode(_tag_NODE_TYPE_ node) {
  char host[kHostNameSize] = {};
  if (HAGetNodeHostName(node, host, sizeof host) == 0) return 0;
  char per_node_id[kArgumentSize];
  if (!CrmGetRuleId(per_node_id, CRM_CONSTRAINT_SB, host)) {
    HA_LOG(ERROR, "Failed to prepare args");
    return 0;
  }
  char xpath[kArgumentSize];
  if (HASnprintf(xpath, sizeof xpath,
                 "//rsc_location[(@id=\"RULE_SYNC_DONE\" or @id=\"RULE_SPACE_SYNC\" or "
                 "@id=\"RULE_SERV_FAIL\" or @id=\"RULE_MEMSIZE\" or @id=\"RULE_PING_SERVER\" or "
                 "@id=\"RULE_VER_MISMATCH\" or @id=\"%s\") and (@node=\"%s\")]",
                 per_node_id, host) == -1) {
    HA_LOG(ERROR, "Failed to prepare command");
    return 0;
  }
  return TAVLIBExec(kCibAdmin, "--query", "--local", "--xpath", xpath) == 0 ? 1 : 0;
}

int HACrmRemoveConstraint(_tag_NODE_TYPE_ node) {
  HA_LOG(NOTICE, "crm remove constraint: %d", node);
  for (int type = 0; type < static_cast<int>(std::size(kRuleIds)); ++type) {
    HACrmSetConstraintOnNode(/*add=*/0, node, static_cast<CRM_CONSTRAINT_TYPE>(type));
  }
  return 0;
}
