// Calls an operation of the library on a node: drive OPERATION [ARGUMENT], and prints its result.
#include <tavohacore.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <string>

namespace {

// So many bytes, of which the 1500th is NUL.
std::string Bytes(size_t count) {
  std::string bytes(count, '.');
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>('a' + i % 26);
  if (count >= 1500) bytes[1499] = '\0';
  return bytes;
}

int Send(size_t count, const char* file) {
  std::string message = Bytes(count);
  return SendAisMsg(message.data(), static_cast<unsigned>(message.size()), file);
}

// The cluster's address on the interface, as it is, and the interface's own hardware address.
std::string Interface() {
  char address[64] = "", netmask[64] = "", hardware[64] = "";
  std::string text = std::to_string(TAVOHAGetRelatedIFInfo(nullptr, address, 64, netmask, 64));
  text += std::string(" ") + address + " " + netmask + " ";
  return text + std::to_string(TAVOHAGetMac(0, hardware, 64)) + " " + hardware;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string operation = argc > 1 ? argv[1] : "";
  const char* const text = argc > 2 ? argv[2] : "";
  const int number = atoi(text);
  const auto node = static_cast<_tag_NODE_TYPE_>(number);
  const auto type = static_cast<CRM_CONSTRAINT_TYPE>(number);
  const std::map<std::string, std::function<int()>> numbers = {
      {"ConfInit", [&] { return HACrmConfInit(number); }},
      {"Online", [&] { return HACrmOnline(node); }},
      {"Standby", [&] { return HACrmStandby(node); }},
      {"Role", [&] { return HANodeRoleTypeGet(node); }},
      {"NodeStatus", [&] { return HANodeStatusGet(node); }},
      {"NodeExists", [&] { return HACrmIsNodeExist(node); }},
      {"HasFailedOp", [&] { return HACrmHasFailedOp(node); }},
      {"Ban", [&] { return HACrmSetConstraintOnNode(1, node, CRM_CONSTRAINT_SERV_FAIL); }},
      {"BanFor", [&] { return HACrmSetConstraintOnNode(1, NODE_TYPE_LOCAL, type); }},
      {"IsBanned", [&] { return HACrmHasAnyConstraintOnNode(node); }},
      {"ManageIP", HACrmManageIP},
      {"IsIPUnmanaged", HACrmIsIPUnmanaged},
      {"RestartIP", HACrmRestartIP},
      {"CleanState", HACrmCleanState},
      {"RemoveRemote", [&] { return HACrmRemoveRemote(text); }},
      {"SendText", [&] { return Send(static_cast<size_t>(number), nullptr); }},
      {"SendFile",
       [&] {
         std::ofstream("/tmp/payload") << "line\n" << Bytes(static_cast<size_t>(number));
         return Send(static_cast<size_t>(number), "/tmp/payload");
       }},
      {"Log", [&] { return TAVOHALogMessageSend(2, 1, text, "admin"); }},
      {"Upgrade", [&] { return TAVOHAUpgradeHandleDL(number); }},
      {"SetAddress", [&] { return TAVOHASetIFConfInfo("ovs_eth0", text, "255.255.0.0", 1); }}};
  if (const auto found = numbers.find(operation); found != numbers.end()) {
    printf("%d\n", found->second());
    return 0;
  }
  puts(operation == "Interface" ? Interface().c_str() : "no such operation");
  return 0;
}
