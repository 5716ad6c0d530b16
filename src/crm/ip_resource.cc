#include <tavohacore/crm.h>

#include <cerrno>

#include "crm/tool_runner.h"
#include "frame/file_lock.h"
#include "frame/log.h"
#include "platform/process.h"

namespace {

using crm::kCrm;
using crm::kCrmResource;

constexpr char kLogModule[] = "libcrm";
constexpr char kAddressResource[] = "IP";
constexpr char kAddressAgent[] = "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2";

// A trace of manual intervention, and how it is removed.
struct CleanUpTarget {
  const char* name;
  bool (*check)(const char*);
  bool clean_answer;
  const char* command[7];
};

constexpr CleanUpTarget Rule(const char* id) {
  return {id, crm::CrmHasLocationConstraint, false, {kCrm, "configure", "delete", id}};
}
constexpr CleanUpTarget MetaAttribute(const char* resource, const char* attribute,
                                      bool (*check)(const char*), bool clean_answer) {
  return {resource,
          check,
          clean_answer,
          {kCrmResource, "--resource", resource, "--delete-parameter", attribute, "--meta"}};
}
constexpr CleanUpTarget TargetRole(const char* resource) {
  return MetaAttribute(resource, "target-role", crm::CrmHasTargetRole, false);
}
constexpr CleanUpTarget ManagedFlag(const char* resource) {
  return MetaAttribute(resource, "is-managed", crm::CrmIsResourceManaged, true);
}

constexpr CleanUpTarget kCleanUpTargets[] = {
    Rule("cli-standby-DUMMY_START"),
    Rule("cli-prefer-DUMMY_START"),
    TargetRole("INFO_SET"),
    TargetRole("CONF_SYNC"),
    TargetRole("CHECKPOINT_LAST"),
    TargetRole("DRBD"),
    ManagedFlag("DRBD"),
};

int CrmSetIPManaged(bool managed) {
  const frame::FileLock lock(HA_LOCK_CRM_OPERATION, frame::kLockRetries);
  if (!lock.held()) HA_LOG(ERROR, "Failed to lock file for operating %s", kAddressResource);
  const char* const command[] = {
      kCrmResource, "--resource", kAddressResource,    "--set-parameter",
      "is-managed", "--meta",     "--parameter-value", managed ? "true" : "false",
      nullptr};
  crm::CrmExecUntil(kAddressResource, crm::CrmIsResourceManaged, managed, command);
  return 0;
}

// Runs the agent itself, past the cluster manager, for as long as it takes. Returns whether it
// exited with status 0.
bool CrmRunIPAgent(bool stop) {
  const char* const argv[] = {kAddressAgent, stop ? "stop" : "start", nullptr};
  char ocf_root[] = "OCF_ROOT=/lib/ocf";
  char* const environment[] = {ocf_root, nullptr};
  platform::Process agent;
  if (!agent.Start(kAddressAgent, argv, environment)) {
    // These two say that there could be no new process. Any other error comes from the agent, a
    // program that cannot be run, which is the same as one that fails.
    if (errno == EAGAIN || errno == ENOMEM) HA_LOG(ERROR, "Failed to fork process: %m");
    return false;
  }
  return agent.Wait() == 0;
}

}  // namespace

int HACrmIsIPUnmanaged() { return crm::CrmIsResourceManaged(kAddressResource) ? 0 : 1; }

int HACrmUnmanageIP() {
  HA_LOG(NOTICE, "HA crm unmanage IP");
  return CrmSetIPManaged(false);
}

int HACrmManageIP() {
  HA_LOG(NOTICE, "HA crm manage IP");
  return CrmSetIPManaged(true);
}

int HACrmRestartIP() {
  HACrmUnmanageIP();
  if (!CrmRunIPAgent(/*stop=*/true)) {
    HA_LOG(ERROR, "Failed to stop ip");
    return -1;
  }
  if (!CrmRunIPAgent(/*stop=*/false)) {
    HA_LOG(ERROR, "Failed to start ip");
    return -1;
  }
  HACrmManageIP();
  return 0;
}

int HACrmCleanState() {
  const frame::FileLock lock(HA_LOCK_CRM_OPERATION, frame::kLockRetries);
  if (!lock.held()) HA_LOG(ERROR, "Failed to lock for clean state");
  for (const CleanUpTarget& target : kCleanUpTargets) {
    crm::CrmExecUntil(target.name, target.check, target.clean_answer, target.command);
  }
  return 0;
}
