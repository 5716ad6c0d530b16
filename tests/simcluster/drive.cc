// Calls an operation of the library on a node: drive OPERATION [ARGUMENT], and prints its result.
#include <tavohacore.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Operation {
  std::string_view name;
  std::string (*call)(const char* argument);
};

// What a call returned.
std::string Result(int value) { return std::to_string(value); }

_tag_NODE_TYPE_ Node(const char* argument) { return static_cast<_tag_NODE_TYPE_>(atoi(argument)); }

// So many bytes, of which the 1500th is NUL.
std::string Bytes(const char* count) {
  std::string bytes(static_cast<size_t>(atoi(count)), '.');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>('a' + i % 26);
  if (bytes.size() >= 1500) bytes[1499] = '\0';
  return bytes;
}

std::string Send(const char* count, const char* file) {
  std::string message = Bytes(count);
  return Result(SendAisMsg(message.data(), static_cast<unsigned>(message.size()), file));
}

template <int (*get)(std::vector<LsyncdEvent>&)>
std::string Events(const char* /*argument*/) {
  std::vector<LsyncdEvent> events;
  std::string text = Result(get(events));
  for (const LsyncdEvent& event : events) text += " " + event.key + "=" + event.value;
  return text;
}

std::string SyncStatus(const char* /*argument*/) {
  LsyncdStatus status;
  std::string text = Result(HASystemSyncGetStatus(status));
  for (const auto& [key, value] : status.states) text += " " + key + (value ? "+" : "-");
  for (const std::string& description : status.errorDescs) text += " " + description;
  return text;
}

// The cluster's address on the interface, as it is, and the interface's own hardware address.
std::string Interface(const char* /*argument*/) {
  char address[64] = "", netmask[64] = "", hardware[64] = "";
  std::string text = Result(TAVOHAGetRelatedIFInfo(nullptr, address, 64, netmask, 64));
  text += std::string(" ") + address + " " + netmask + " ";
  return text + Result(TAVOHAGetMac(0, hardware, 64)) + " " + hardware;
}

constexpr Operation kOperations[] = {
    {"ConfInit", [](const char* full) { return Result(HACrmConfInit(atoi(full))); }},
    {"ConfReset", [](const char* full) { return Result(HACrmConfReset(atoi(full))); }},
    {"Online", [](const char* node) { return Result(HACrmOnline(Node(node))); }},
    {"Standby", [](const char* node) { return Result(HACrmStandby(Node(node))); }},
    {"Role", [](const char* node) { return Result(HANodeRoleTypeGet(Node(node))); }},
    {"IsActive", [](const char*) { return Result(TAVOHAIsActive()); }},
    {"NodeStatus", [](const char* node) { return Result(HANodeStatusGet(Node(node))); }},
    {"NodeExists", [](const char* node) { return Result(HACrmIsNodeExist(Node(node))); }},
    {"HasFailedOp", [](const char* node) { return Result(HACrmHasFailedOp(Node(node))); }},
    {"Status", [](const char*) { return Result(HAStatusGet()); }},
    {"WaitDone", [](const char*) { return Result(HAWaitCrmDone()); }},
    {"Ban",
     [](const char* node) {
       return Result(HACrmSetConstraintOnNode(1, Node(node), CRM_CONSTRAINT_SERV_FAIL));
     }},
    {"Unban",
     [](const char* node) {
       return Result(HACrmSetConstraintOnNode(0, Node(node), CRM_CONSTRAINT_SERV_FAIL));
     }},
    {"BanFor",
     [](const char* type) {
       return Result(HACrmSetConstraintOnNode(1, NODE_TYPE_LOCAL,
                                              static_cast<CRM_CONSTRAINT_TYPE>(atoi(type))));
     }},
    {"IsBanned", [](const char* node) { return Result(HACrmHasAnyConstraintOnNode(Node(node))); }},
    {"ManageIP", [](const char*) { return Result(HACrmManageIP()); }},
    {"IsIPUnmanaged", [](const char*) { return Result(HACrmIsIPUnmanaged()); }},
    {"RestartIP", [](const char*) { return Result(HACrmRestartIP()); }},
    {"CleanState", [](const char*) { return Result(HACrmCleanState()); }},
    {"IsConfigured", [](const char* name) { return Result(HACrmIsResourceConfigured(name)); }},
    {"RemoveRemote", [](const char* text) { return Result(HACrmRemoveRemote(text)); }},

    {"SendText", [](const char* count) { return Send(count, nullptr); }},
    {"SendFile",
     [](const char* count) {
       std::ofstream("/tmp/payload") << "line\n" << Bytes(count);
       return Send(count, "/tmp/payload");
     }},
    {"SmartTest", [](const char* disk) { return Result(TAVOHASmartRemoteRun(disk)); }},
    {"Log", [](const char* event) { return Result(TAVOHALogMessageSend(2, 1, event, "admin")); }},
    {"SyncStatus", SyncStatus},
    {"SyncEvents", Events<HASystemSyncGetEvents>},
    {"SyncAbandoned", Events<HASystemSyncGetAbondonedEvents>},
    {"SyncCheck", [](const char*) { return Result(HASystemSyncCheckConsistency()); }},
    {"Upgrade", [](const char* step) { return Result(TAVOHAUpgradeHandleDL(atoi(step))); }},
    {"Interface", Interface},
    {"SetAddress",
     [](const char* address) {
       return Result(TAVOHASetIFConfInfo("ovs_eth0", address, "255.255.0.0", 1));
     }},
    {"Conflicts", [](const char* address) { return Result(TAVOHAIsHAIPConflict(address)); }},
};

}  // namespace

int main(int argc, char** argv) {
  const auto* operation = std::ranges::find(kOperations, argc > 1 ? argv[1] : "", &Operation::name);
  if (operation == std::end(kOperations)) return 64;
  puts(operation->call(argc > 2 ? argv[2] : "").c_str());
  return 0;
}
