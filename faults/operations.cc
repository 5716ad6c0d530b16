#include "faults/operations.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <utility>

#include "tests/support/files.h"
#include "tests/support/tool_script.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

using Rules = test_support::ToolScript;

// What a tool answers: for each pattern of arguments ("**" for any), one run after the other.
std::pair<std::string, std::string> Script(const char* tool, const Rules& rules) {
  return {test_support::ToolScriptPath(tool), test_support::Packed(rules)};
}

using test_support::kConfFile;
using test_support::kMirrorFile;
constexpr char kAgent[] = "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2";
constexpr char kControl[] = "/usr/tavo/tavoha/etc.defaults/rc.ha";
constexpr char kDefaults[] = "/usr/tavo/tavoha/etc.defaults/ha.conf";
constexpr char kList[] =
    "DUMMY_START\nDUMMY_END\nSERV\nFS\nIP\nCONF_SYNC_:0\nINFO_SET_:0\nDRBD_:0\n"
    "CHECKPOINT_LAST_:0\nPING_SERVER_:0\nPING_SERVER_:1\n";

const Rules kSilent = {{{"**"}, {{}}}};
const Rules kNotFound = {{{"**"}, {{.exit_status = 6}}}};
const Rules kPeerGone = {{{"**"}, {{.output = "nas-a: ONLINE\nnas-b: OFFLINE\n"}}}};

Files Usual() {
  return {
      {kConfFile,
       "# of the pair\nhost0=\"nas-a\"\nhost1=\"nas-b\"\nip0=\"10.0.0.1\"\nip1=\"10.0.0.2\"\n"
       "drbd_if=\"eth1\"\ndrbd_ip0=\"169.254.1.1\"\ndrbd_ip1=\"169.254.1.2\"\n"
       "ha_hostname=\"cluster\"\nha_if_main=\"ovs_eth0\"\nha_sn=\"S1\"\nha_sn_custom=\"C1\"\n"
       "ha_model=\"M1\"\nis_hybrid=\"true\"\nha_if0=\"ovs_eth0\"\nha_ip0=\"10.0.0.3\"\n"
       "ha_netmask0=\"255.255.0.0\"\nha_if_enabled0=\"true\"\nha_bond_if1=\"bond1\"\n"
       "ha_bond_ip1=\"10.1.0.3\"\nha_bond_netmask1=\"255.0.0.0\"\nha_bond_if_enabled1=\"true\"\n"
       "ha_mac_0=\"00:00:00:00:00:01\"\nmac0_0=\"00:00:00:00:00:02\"\n"
       "mac1_0=\"00:00:00:00:00:03\"\ncorosync_key=\"key\"\n"},
      {kDefaults, "host0=\"\"\nhost1=\"\"\n"},
      {"/tmp/.ha.running", ""},
      {"/tmp/.ha.status", "BINDING=\"3\"\nUNBINDING=\"2\"\n"},
      {"/tmp/ha_role_active", ""},
      {"/tmp/ha/ha_fake_drbd_primary", ""},
      {"/tmp/ha/ha_fake_drbd_secondary", ""},
      {"/tmp/ha/ha_tavolog_resp", "SUCC    \n"},
      {"/tmp/payload", "first line\nsecond line\n"},
      {"/usr/tavo/tavoha/etc/confsync/rsync.pw", "1"},
      {"/usr/tavo/tavoha/etc/confsync/rsyncd.secrets", "root:1"},
      {"/var/lib/ha/ip.local", "10.0.0.1\n"},
      {"/var/lib/ha/ip.remote", "10.0.0.2\n"},
      Script("/usr/bin/crm_mon", {{{"**"}, {{.output = "nas-a: ONLINE\nnas-b: ONLINE\n"}}}}),
      Script("/usr/bin/crm_resource", {{{"--resource", "*", "--locate"},
                                        {{.output = "resource is running on: nas-a Master\n"}}},
                                       {{"--list-raw"}, {{.output = kList}}},
                                       {{"**"}, {{}}}}),
      Script("/usr/bin/crm_node",
             {{{"--list"}, {{.output = "16907945 nas-a member\n33685161 nas-b lost\n"}}},
              {{"**"}, {{}}}}),
      Script("/usr/bin/crm", kSilent),
      Script("/usr/bin/cibadmin", kSilent),
      Script("/usr/bin/corosync-objctl", kSilent),
      Script(kAgent, kSilent),
      Script(kControl, kSilent),
  };
}

// The world of an initialisation: erasing leaves nothing, loading gives all.
Files Erased() {
  return {Script("/usr/bin/crm_resource", {{{"--list-raw"}, {{}, {.output = kList}}},
                                           {{"--resource", "*", "--locate"}, {{}}}}),
          Script("/usr/bin/cibadmin", kNotFound)};
}

const Files kStopped = {{"/tmp/.ha.running", kNothing}, {"/tmp/.ha.not.running", ""}};

// ---- Calls that take several steps --------------------------------------------------------------

char* Text(size_t offset) { return given.text + offset; }

int LockAndUnlock() {
  FILE* lock = nullptr;
  const int result = HAFileLock(&lock, HA_LOCK_SPACE, 1);
  return result == 0 ? HAFileUnlock(&lock) : result;
}

int GetAndSetPriority() {
  int nice = 0, io = 0, score = TAVOHA_PRIORITY_NOT_SET, adjustment = TAVOHA_PRIORITY_NOT_SET;
  const int result = TAVOHAGetPriority(&nice, &io, &score, &adjustment);
  if (result == 1) TAVOHASetPriority(nice, io, score, adjustment);
  return result;
}

int Interface() {
  HA_IF_NAME_INFO info{};
  const int result = HAGetInterfaceTypeAndIndex("ovs_bond3", info);
  given.number = info.type * 100 + info.index;
  return result;
}

int SetRecord() {
  HA_CONF_STRUCT record{};
  strcpy(record.host0, "nas-c");
  return HAConfStructSet(&record);
}

// An exchange step by step, and its end.
int Exchange() {
  char line[256];
  int data = -1, lock = -1;
  int result = SendCmd(LSYNCD_CMD_GET_STATUS, line, sizeof line, lock);
  if (result == 0) result = GetDataPipe(data);
  if (result == 0) result = ReadLine(data, given.text, sizeof line);
  SystemSyncExit(data, lock);
  return result;
}

int WholeExchange() {
  int data = -1, lock = -1;
  const int result =
      SystemSyncInit(LSYNCD_CMD_GET_EVENTS, given.text, 256, data, given.number, lock);
  SystemSyncExit(data, lock);
  return result;
}

int SendWithFile() {
  char message[] = "MESSAGE ";
  return SendAisMsg(message, 8, "/tmp/payload");
}

template <typename Take>
int Loaded(int result, Take drop) {
  if (result == 0) drop();
  return result;
}

int FindFunction() {
  void* function = nullptr;
  return Loaded(TAVOHADlGetFP("TAVOHAIsHybrid", &function), TAVOHADlClose);
}

constexpr auto kRemote = NODE_TYPE_REMOTE;
const std::vector<int> kChannelErrors = {-2, -3, -4, -5, -6, -7, -8, -9, -11, -12};
constexpr unsigned kQuickExclusive = kQuick | kExclusive;

// What a row calls.
#define CALL(...) [] { return __VA_ARGS__; }

// The formatter would give each field of a long row a line of its own.
// clang-format off
std::vector<Operation> FrameOperations() {
  return {
      {"TAVOHAChkIfChangePriority", TAVOHAChkIfChangePriority, {0}, kQuick},
      {"TAVOHAGetPriority TAVOHASetPriority", GetAndSetPriority, {0}, kQuick},
      {"TAVOHAIsRunByTavoschedtask", TAVOHAIsRunByTavoschedtask, {}, kQuick},
      {"HAFileLock HAFileUnlock", LockAndUnlock, {-1}, kQuick},
      {"HASnprintf", CALL(HASnprintf(given.text, 8, "%d", 12)), {}, kQuick},
      {"HAFindLockType", CALL(HAFindLockType(HA_LOCK_DISK_INFO)), {}, kQuick},
      {"FormattedString", CALL((given.string = FormattedString("%0100d", 7)).empty() ? -1 : 0),
       {-1}, kQuick},
      {"GetLocalHostname", CALL(GetLocalHostname(given.text)), {-1}, kQuick},
      {"GetLocalHostname, saved", CALL(GetLocalHostname(given.text)), {-1}, kTolerant | kQuick,
       {{"/var/lib/ha/ha.hostname.original", "saved\n"}}},
      {"GetLocalHostname, by value", CALL((given.string = GetLocalHostname()).empty() ? -1 : 0),
       {-1}, kQuick},
      {"HAGetInterfaceType", CALL(HAGetInterfaceType("ovs_eth1")), {}, kQuick},
      {"HAProcNameGetByPid", CALL(HAProcNameGetByPid(getpid(), given.text, 64)), {-1}, kQuick},
      {"FileRemoveFirstLine", CALL(FileRemoveFirstLine("/tmp/payload", given.text, 64)), {-1},
       kQuick},
      {"HATAVOLnxGetHostname", CALL(HATAVOLnxGetHostname(given.text)), {-1}, kQuick},
      {"HAGetInterfaceTypeAndIndex", Interface, {}, kQuick},
      {"__halog", CALL((__halog(LOG_INFO, "a line: %m"), 0)), {}, kQuick},
  };
}

std::vector<Operation> ConfOperations() {
  return {
      {"TAVOHAGetConf", CALL(TAVOHAGetConf(HA_CONF_HOST_REMOTE, 0, given.text, 64)), {-1}, kQuick},
      {"TAVOHAGetConf, mirrored", CALL(TAVOHAGetConf(HA_CONF_MAC0, 0, given.text, 64)), {-1},
       kQuick, {{kMirrorFile, "mac0_0=\"00:00:00:00:00:02\"\n"}}},
      {"TAVOHAGetConfByIF",
       CALL(TAVOHAGetConfByIF(HA_CONF_IF_ATTR_ADDRESS, "bond1", given.text, 64)), {-1}, kQuick},
      {"TAVOHAGetHAHostname", CALL(TAVOHAGetHAHostname(given.text, 64)), {-1}, kQuick},
      {"TAVOHAGetHeartbeatIF", CALL(TAVOHAGetHeartbeatIF(given.text, 64)), {-1}, kQuick},
      {"TAVOHAGetHostDirection", TAVOHAGetHostDirection, {-1}, kQuick},
      {"TAVOHAGetIFConfInfo",
       CALL(TAVOHAGetIFConfInfo("eth0", Text(0), 64, Text(64), 64, &given.number)), {-1}, kQuick},
      {"TAVOHAGetIFMain", CALL(TAVOHAGetIFMain(given.text, 64)), {-1}, kQuick},
      {"TAVOHAGetMac", CALL(TAVOHAGetMac(0, given.text, 64)), {-1}, kTolerant | kQuick},
      {"TAVOHAGetOriginalHostname", CALL(TAVOHAGetOriginalHostname(given.text, 64, 0)), {-1},
       kTolerant | kQuick},
      {"TAVOHAGetRelatedIFInfo", CALL(TAVOHAGetRelatedIFInfo(nullptr, Text(0), 64, Text(64), 64)),
       {-1}, kQuick},
      {"TAVOHASetConf", CALL(TAVOHASetConf(HA_CONF_IP_REMOTE, 0, "10.0.0.9")), {-1}, kQuick},
      {"TAVOHASetHAHostname", CALL(TAVOHASetHAHostname("other")), {-1}, kQuick},
      {"TAVOHASetIFConfInfo", CALL(TAVOHASetIFConfInfo("eth2", "10.2.0.1", "255.0.0.0", 1)), {-1},
       kTolerant},
      {"HAConfStructGet", CALL(HAConfStructGet(reinterpret_cast<HA_CONF_STRUCT*>(given.text))),
       {-1}, kTolerant | kQuick},
      {"HAConfStructSet", SetRecord, {-1}, kQuick},
      {"TAVOHAResetConf", TAVOHAResetConf, {-1}},
      {"TAVOHAResetConf, without defaults", TAVOHAResetConf, {-1}, kQuick, {{kDefaults, kNothing}}},
      {"HAGetHeartbeatIF", CALL(HAGetHeartbeatIF(given.text, 64)), {-1}, kQuick},
      {"TAVOHACleanConfRemote", TAVOHACleanConfRemote, {-1}, kQuick},
      {"TAVOHANodeTypeToConfType", CALL(int{TAVOHANodeTypeToConfType(kRemote)}), {}, kQuick},
  };
}

std::vector<Operation> StateOperations() {
  return {
      {"TAVOHAGetHANetinfo",
       CALL(TAVOHAGetHANetinfo(reinterpret_cast<HA_NET_INFO*>(given.text), HA_NET_INFO_COUNT)),
       {0, 1}, kTolerant | kQuick},
      {"TAVOHAGetModel", CALL(TAVOHAGetModel(given.text, 64)), {-1}, kTolerant | kQuick},
      {"TAVOHAGetSN", CALL(TAVOHAGetSN(0, given.text, 64)), {-1}, kQuick},
      {"TAVOHAIsActive", TAVOHAIsActive, {0}, kQuick},
      {"TAVOHAIsHAIPConflict", CALL(TAVOHAIsHAIPConflict("10.0.0.2")), {0}, kQuick},
      {"TAVOHAIsRunning", TAVOHAIsRunning, {0}, kQuick},
      {"TAVOHAIsRunning, without markers", TAVOHAIsRunning, {0}, kQuick,
       {{"/tmp/.ha.running", kNothing}}},
      {"TAVOHAIsSafemode", TAVOHAIsSafemode, {0}, kQuick, {{"/var/lib/ha/ha.safemode.info", ""}}},
      {"TAVOHAStop", TAVOHAStop, {-1, 99}},
      {"HAIsBinding", HAIsBinding, {0}, kQuick},
      {"HAEnvPathInit", HAEnvPathInit, {-1}, kQuickExclusive},
      {"HAIsUpgrading", HAIsUpgrading, {0}, kQuick, {{"/var/lib/ha/ha.upg", ""}}},
      {"PcmkIsRunning", PcmkIsRunning, {0}, kQuick},
      {"CrsyncIsRunning", CALL(CrsyncIsRunning() ? 1 : 0), {0}, kQuick},
      {"HAIsRunningCoroPace", HAIsRunningCoroPace, {0}, kQuick},
      {"BindingProgressGet",
       CALL(BindingProgressGet(reinterpret_cast<_tag_BindingProgress*>(&given.number))), {-1},
       kQuick},
      {"BindingProgressSet", CALL(BindingProgressSet(BINDING_PROGRESS_END)), {-1}, kQuick},
      {"UnbindingProgressGet",
       CALL(UnbindingProgressGet(reinterpret_cast<_tag_UnbindingProgress*>(&given.number))), {-1},
       kQuick},
      {"UnbindingProgressSet", CALL(UnbindingProgressSet(_tag_UnbindingProgress{5})), {-1}, kQuick},
  };
}

std::vector<Operation> NodeOperations() {
  return {
      {"TAVOHANodeRoleGet", TAVOHANodeRoleGet,
       {NODE_ROLE_NONE, NODE_ROLE_NOT_READY, NODE_ROLE_ACTIVE_PARTIAL}},
      {"HANodeRoleTypeGet", CALL(HANodeRoleTypeGet(NODE_TYPE_LOCAL)),
       {NODE_ROLE_NONE, NODE_ROLE_NOT_READY, NODE_ROLE_ACTIVE_PARTIAL}},
      {"HAStatusGet", HAStatusGet,
       {HA_STATUS_WARNING, HA_STATUS_NOT_RUNNING, HA_STATUS_SINGLE_NODE}},
      {"HANodeStatusGet", CALL(HANodeStatusGet(kRemote)), {NODE_STATUS_UNKNOWN, NODE_STATUS_NONE}},
      {"HANodeStatusStr", CALL(static_cast<int>(strlen(HANodeStatusStr(NODE_STATUS_ERROR)))), {},
       kQuick},
      {"HAGetNodeHostName", CALL(HAGetNodeHostName(kRemote, given.text, 64)), {0}, kQuick},
  };
}

std::vector<Operation> CrmOperations() {
  return {
      {"HACrmIsResourceRunningAt", CALL(HACrmIsResourceRunningAt("nas-a", "IP")), {0}},
      {"HACrmIsResourceConfigured", CALL(HACrmIsResourceConfigured("PING_SERVER_")), {0}},
      {"HACrmIncreaseAdminEpoch", HACrmIncreaseAdminEpoch, {-1, 99}},
      {"HACrmSetConstraintOnNode", CALL(HACrmSetConstraintOnNode(1, kRemote, CRM_CONSTRAINT_SB)),
       {-1}},
      {"HACrmHasConstraintOnNode", CALL(HACrmHasConstraintOnNode(kRemote, CRM_CONSTRAINT_SB)), {0}},
      {"HACrmHasAnyConstraintOnNode", CALL(HACrmHasAnyConstraintOnNode(kRemote)), {0}},
      {"HACrmRemoveConstraint", CALL(HACrmRemoveConstraint(kRemote)), {}, 0,
       {Script("/usr/bin/cibadmin", kNotFound)}},
      {"HACrmOnline", CALL(HACrmOnline(kRemote)), {}, 0,
       {Script("/usr/bin/crm_mon",
               {{{"**"}, {{.output = "nas-b: OFFLINE\n"}, {.output = "nas-b: ONLINE\n"}}}})}},
      {"HACrmStandby", CALL(HACrmStandby(kRemote)), {0}, 0,
       {Script("/usr/bin/cibadmin", kNotFound)}},
      {"HACrmHasFailedOp", CALL(HACrmHasFailedOp(NODE_TYPE_LOCAL)), {0}},
      {"HAWaitCrmDone", HAWaitCrmDone, {0}},
      {"HACrmIsNodeExist", CALL(HACrmIsNodeExist(kRemote)), {0}},
      {"HACrmIsIPUnmanaged", HACrmIsIPUnmanaged, {0}},
      {"HACrmUnmanageIP", HACrmUnmanageIP},
      {"HACrmManageIP", HACrmManageIP, {}, 0, {Script("/usr/bin/cibadmin", kNotFound)}},
      {"HACrmRestartIP", HACrmRestartIP, {-1}, 0,
       {Script("/usr/bin/cibadmin", {{{"**"}, {{}, {.exit_status = 6}}}})}},
      {"HACrmCleanState", HACrmCleanState, {}, 0, {Script("/usr/bin/cibadmin", kNotFound)}},
      {"HACrmConfReset", CALL(HACrmConfReset(0)), {}, kExclusive, Erased()},
      {"HACrmConfInit", CALL(HACrmConfInit(0)), {-1}, kExclusive, Erased()},
      {"HACrmRemoveRemote", CALL(HACrmRemoveRemote("now")), {-1}, 0,
       {Script("/usr/bin/crm_mon", kPeerGone), Script("/usr/bin/cibadmin", kNotFound)}},
  };
}

std::vector<Operation> PeerOperations() {
  return {
      {"TAVOHALogMessageSend", CALL(TAVOHALogMessageSend(1, 2, "event", "user")), {-1}},
      {"TAVOHASSDRemoteTrim", CALL(TAVOHASSDRemoteTrim("/volume1")), {-1}},
      {"TAVOHASetRemoteSysPart", TAVOHASetRemoteSysPart, {-1}},
      {"TAVOHASmartRemoteRun", CALL(TAVOHASmartRemoteRun("/dev/sda")), {-1}},
      {"SendAisMsg", SendWithFile, {-1}, kExclusive},
      {"HASendLogMessage", CALL(HASendLogMessage("/tmp/payload")), {0}, kExclusive},
  };
}

std::vector<Operation> SyncOperations() {
  return {
      {"SendCmd GetDataPipe ReadLine SystemSyncExit", Exchange, kChannelErrors, kQuick},
      {"SystemSyncInit SystemSyncExit", WholeExchange, kChannelErrors, kQuick},
      {"HASystemSyncGetStatus", CALL(HASystemSyncGetStatus(given.status)), kChannelErrors, kQuick},
      {"HASystemSyncGetEvents", CALL(HASystemSyncGetEvents(given.events)), kChannelErrors, kQuick},
      {"HASystemSyncGetAbondonedEvents", CALL(HASystemSyncGetAbondonedEvents(given.events)),
       kChannelErrors, kQuick},
      {"HASystemSyncGetComm", CALL(HASystemSyncGetComm(given.events, 2)), kChannelErrors, kQuick},
      {"HASystemSyncCheckConsistency", HASystemSyncCheckConsistency, kChannelErrors, kQuick},
      {"HASystemSyncGenPWFile", CALL(HASystemSyncGenPWFile(4294967295U)), {-1}, kInPlace | kQuick},
      {"ToBool", CALL(ToBool(std::string("true").data()) ? 1 : 0), {}, kQuick},
  };
}

std::vector<Operation> SpaceOperations() {
  return {
      {"HASpaceExpandResizePre", CALL(HASpaceExpandResizePre("volume_1")), {-1},
       kInPlace | kTolerant | kQuick},
      {"HANoSpaceFakeDRBDRoleGet", CALL(int{HANoSpaceFakeDRBDRoleGet()}), {2}, kQuick},
      {"HANoSpaceFakeDRBDRoleSet", CALL(HANoSpaceFakeDRBDRoleSet(FAKE_DRBD_ROLE_SECONDARY)), {-1},
       kQuick},
      {"HANoSpaceFakeDRBDRoleClear", HANoSpaceFakeDRBDRoleClear, {-1}, kQuick},
  };
}

std::vector<Operation> DlOperations() {
  return {
      {"TAVOHADlInit TAVOHADlClose", CALL(Loaded(TAVOHADlInit(), TAVOHADlClose)), {-1, -2},
       kQuickExclusive},
      {"TAVOHADlKeepHandle TAVOHADlKeepHandleRelease",
       CALL(Loaded(TAVOHADlKeepHandle(), TAVOHADlKeepHandleRelease)), {-1, -2}, kQuickExclusive},
      {"TAVOHADlGetFP", FindFunction, {-1, -2}, kQuickExclusive},
      {"TAVOHAIsHybridDL", CALL(TAVOHAIsHybridDL(Text(3), Text(0))), {-1}, kQuickExclusive},
      {"TAVOHAGetOverviewStatusDL", CALL((TAVOHAGetOverviewStatusDL(&given.number, 100), 0)), {},
       kTolerant | kQuickExclusive},
      {"TAVOHAUpgradeHandleDL", CALL(TAVOHAUpgradeHandleDL(7)), {-1}, kQuickExclusive},
  };
}
// clang-format on
#undef CALL

}  // namespace

thread_local Given given;

const std::vector<Operation>& Operations() {
  static const std::vector<Operation> operations = [] {
    std::vector<Operation> all;
    for (auto* room :
         {FrameOperations, ConfOperations, StateOperations, NodeOperations, CrmOperations,
          PeerOperations, SyncOperations, SpaceOperations, DlOperations}) {
      std::ranges::move(room(), std::back_inserter(all));
    }
    return all;
  }();
  return operations;
}

const std::vector<std::string>& Tools() {
  static const std::vector<std::string> tools = {"/usr/bin/crm_mon",
                                                 "/usr/bin/crm_resource",
                                                 "/usr/bin/crm_node",
                                                 "/usr/bin/crm",
                                                 "/usr/bin/cibadmin",
                                                 "/usr/bin/corosync-objctl",
                                                 kAgent,
                                                 kControl};
  return tools;
}

std::string TakeGiven() {
  Given taken = std::exchange(given, {});
  std::string text(taken.text, sizeof taken.text);
  text.resize(text.find_last_not_of('\0') + 1);
  text += "|" + std::to_string(taken.number) + "|" + taken.string;
  for (const auto& [key, value] : taken.status.states) text += "|" + key + (value ? "+" : "-");
  for (const std::string& description : taken.status.errorDescs) text += "|" + description;
  for (const LsyncdEvent& event : taken.events) text += "|" + event.key + "=" + event.value;
  return text;
}

Files World(const Operation& operation) {
  Files world = Usual();
  for (const auto& [path, content] : operation.scene) {
    world[path] = content;
    if (content == kNothing) world.erase(path);
  }
  return world;
}

bool IsScript(const std::string& path) { return path.starts_with(test_support::kToolDirectory); }

Files Look() {
  Files files;
  for (const char* directory :
       {"/tmp", "/tmp/ha", "/usr/tavo/tavoha/etc", "/usr/tavo/tavoha/etc/confsync",
        "/usr/tavo/tavoha/etc.defaults", "/var/lib/ha", test_support::kToolDirectory}) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
      const std::string path = entry.path();
      if (!fs::is_regular_file(entry.symlink_status(error)) || path.find("lock") != path.npos)
        continue;
      files[path] = test_support::ReadFile(path);
    }
  }
  return files;
}

void MakeSo(const Files& files) {
  const Files now = Look();
  for (const auto& [path, content] : now) {
    if (!files.contains(path)) unlink(path.c_str());
  }
  for (const auto& [path, content] : files) {
    const auto there = now.find(path);
    if (there == now.end() || there->second != content) test_support::WriteFile(path, content);
  }
}

}  // namespace faults
