// Calls an operation of the library on a node: drive OPERATION [ARGUMENT], and prints its result.
#include <tavohacore.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

struct Operation {
  std::string_view name;
  int (*call)(const char* argument);
};

_tag_NODE_TYPE_ Node(const char* argument) { return static_cast<_tag_NODE_TYPE_>(atoi(argument)); }

constexpr Operation kOperations[] = {
    {"ConfInit", [](const char* full) { return HACrmConfInit(atoi(full)); }},
    {"ConfReset", [](const char* full) { return HACrmConfReset(atoi(full)); }},
    {"Online", [](const char* node) { return HACrmOnline(Node(node)); }},
    {"Standby", [](const char* node) { return HACrmStandby(Node(node)); }},
    {"Role", [](const char* node) { return HANodeRoleTypeGet(Node(node)); }},
    {"IsActive", [](const char*) { return TAVOHAIsActive(); }},
    {"NodeStatus", [](const char* node) { return HANodeStatusGet(Node(node)); }},
    {"NodeExists", [](const char* node) { return HACrmIsNodeExist(Node(node)); }},
    {"HasFailedOp", [](const char* node) { return HACrmHasFailedOp(Node(node)); }},
    {"Status", [](const char*) { return HAStatusGet(); }},
    {"WaitDone", [](const char*) { return HAWaitCrmDone(); }},
    {"Ban",
     [](const char* node) {
       return HACrmSetConstraintOnNode(1, Node(node), CRM_CONSTRAINT_SERV_FAIL);
     }},
    {"Unban",
     [](const char* node) {
       return HACrmSetConstraintOnNode(0, Node(node), CRM_CONSTRAINT_SERV_FAIL);
     }},
    {"BanFor",
     [](const char* type) {
       return HACrmSetConstraintOnNode(1, NODE_TYPE_LOCAL,
                                       static_cast<CRM_CONSTRAINT_TYPE>(atoi(type)));
     }},
    {"IsBanned", [](const char* node) { return HACrmHasAnyConstraintOnNode(Node(node)); }},
    {"ManageIP", [](const char*) { return HACrmManageIP(); }},
    {"IsIPUnmanaged", [](const char*) { return HACrmIsIPUnmanaged(); }},
    {"RestartIP", [](const char*) { return HACrmRestartIP(); }},
    {"CleanState", [](const char*) { return HACrmCleanState(); }},
    {"IsConfigured", HACrmIsResourceConfigured},
    {"RemoveRemote", HACrmRemoveRemote},
};

}  // namespace

int main(int argc, char** argv) {
  const auto* operation = std::ranges::find(kOperations, argc > 1 ? argv[1] : "", &Operation::name);
  if (operation == std::end(kOperations)) return 64;
  printf("%d\n", operation->call(argc > 2 ? argv[2] : ""));
  return 0;
}
