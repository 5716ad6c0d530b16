// tavohactl interface and mac: the interfaces that carry a cluster address.
#include <fmt/format.h>
#include <tavohacore.h>

#include <charconv>
#include <string>

#include "command.h"
#include "conf_keys.h"
#include "progress.h"

namespace tavohactl {
namespace {

constexpr int kNameSize = 16;
constexpr int kAddressSize = 20;
constexpr int kMacSize = 18;

std::string NameOf(int (*get)(char*, int)) {
  char name[kNameSize] = {};
  return get(name, sizeof name) == 0 ? name : "";
}

Answer InterfaceList(const CLI::App&) {
  HA_NET_INFO list[HA_NET_INFO_COUNT] = {};
  const int count = TAVOHAGetHANetinfo(list, HA_NET_INFO_COUNT);
  if (count < 0) throw LibraryFailure("the interfaces cannot be read");
  Json interfaces = Json::array();
  for (int i = 0; i < count; ++i) {
    interfaces.push_back(
        {{"interface", list[i].ifName}, {"address", list[i].ip}, {"netmask", list[i].netmask}});
  }
  return {.record = {{"main", NameOf(TAVOHAGetIFMain)},
                     {"heartbeat", NameOf(TAVOHAGetHeartbeatIF)},
                     {"interfaces", interfaces}}};
}

Answer InterfaceShow(const CLI::App& arguments) {
  const std::string name =
      arguments.count("INTERFACE") > 0 ? Text(arguments, "INTERFACE") : NameOf(TAVOHAGetIFMain);
  if (name.empty()) throw Failure("HA does not run, or ha.conf has no main interface");
  char address[kAddressSize] = {}, netmask[kAddressSize] = {};
  BOOL enabled = 0;
  if (TAVOHAGetIFConfInfo(name.c_str(), address, sizeof address, netmask, sizeof netmask,
                          &enabled) != 0) {
    throw LibraryFailure(
        fmt::format("HA does not run, or ha.conf does not say it all about {}", name));
  }
  Answer answer = {.record = {{"interface", name},
                              {"enabled", enabled == 1},
                              {"address", address},
                              {"netmask", netmask}}};
  // What the kernel has at this moment: only the node that serves the address has it.
  char live_address[kAddressSize] = {}, live_netmask[kAddressSize] = {};
  const bool live = TAVOHAGetRelatedIFInfo(name.c_str(), live_address, sizeof live_address,
                                           live_netmask, sizeof live_netmask) == 0;
  answer.record["live_address"] = live ? Json(live_address) : Json();
  answer.record["live_netmask"] = live ? Json(live_netmask) : Json();
  return answer;
}

Answer Change(const std::string& name, const std::string& address, const std::string& netmask,
              bool enable) {
  const Progress progress("Restarting the service address");
  if (TAVOHASetIFConfInfo(name.c_str(), address.c_str(), netmask.c_str(), enable ? 1 : 0) != 0) {
    throw LibraryFailure(
        fmt::format("{} could not be set, or the service address not be restarted", name));
  }
  return {.record = {{"interface", name}, {"enabled", enable}},
          .text = fmt::format("{} {} the service address", name,
                              enable ? "now carries " + address + " as" : "no longer carries")};
}

Answer InterfaceSet(const CLI::App& arguments) {
  return Change(Text(arguments, "INTERFACE"), Text(arguments, "ADDRESS"),
                Text(arguments, "NETMASK"), true);
}

Answer InterfaceDisable(const CLI::App& arguments) {
  return Change(Text(arguments, "INTERFACE"), "", "", false);
}

Answer Mac(const CLI::App& arguments) {
  const auto port = static_cast<unsigned int>(ParseIndex("a port", Text(arguments, "PORT")));
  char mac[kMacSize] = {};
  if (TAVOHAGetMac(port, mac, sizeof mac) != 0) {
    throw LibraryFailure(fmt::format("port {} has no MAC address", port));
  }
  return {.record = {{"port", port}, {"mac", mac}}, .text = mac};
}

}  // namespace

void AddInterface(CommandTree* tree) {
  CLI::App* group = tree->AddGroup("interface", "The interfaces that carry a cluster address",
                                   "  tavohactl interface list\n"
                                   "  tavohactl interface show eth0\n"
                                   "  tavohactl interface set eth0 192.0.2.100 255.255.255.0\n"
                                   "  tavohactl interface disable ovs_bond1\n"
                                   "\n"
                                   "\"set\" and \"disable\" restart the service address.\n");
  tree->AddCommand(group, "list", "Print those that are enabled", InterfaceList);
  tree->AddCommand(group, "show", "Print what is set for one, and what it has now", InterfaceShow)
      ->add_option("INTERFACE", "For example eth0; without it, the main one");
  CLI::App* set = tree->AddCommand(group, "set", "Set its cluster address", InterfaceSet);
  for (const char* name : {"INTERFACE", "ADDRESS", "NETMASK"}) set->add_option(name)->required();
  tree->AddCommand(group, "disable", "Have it carry none", InterfaceDisable)
      ->add_option("INTERFACE")
      ->required();
  CLI::App* mac = tree->AddCommand(tree->root(), "mac", "Print the MAC address of a port", Mac);
  mac->add_option("PORT", "0 to 11")->required();
  mac->footer("Examples:\n  tavohactl mac 0\n");
}

}  // namespace tavohactl
