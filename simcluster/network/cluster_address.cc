#include "simcluster/network/cluster_address.h"

#include <net/if.h>

#include <fstream>
#include <map>
#include <string>

#include "simcluster/network/interface.h"

namespace simcluster {
namespace {

constexpr char kHaConf[] = "/usr/tavo/tavoha/etc/ha.conf";
constexpr int kSlots = 12;

// What KEY="VALUE" lines say.
std::map<std::string, std::string> ReadSettings() {
  std::map<std::string, std::string> settings;
  std::ifstream file(kHaConf);
  for (std::string line; std::getline(file, line);) {
    const size_t equals = line.find("=\"");
    if (equals == std::string::npos) continue;
    settings[line.substr(0, equals)] =
        line.substr(equals + 2, line.find('"', equals + 2) - equals - 2);
  }
  return settings;
}

template <typename Change>
Error ForEachInterface(Change change) {
  std::map<std::string, std::string> settings = ReadSettings();
  for (const std::string family : {"ha_", "ha_bond_"}) {
    for (int slot = 0; slot < kSlots; ++slot) {
      const auto value = [&](const char* key) {
        return settings[family + key + std::to_string(slot)];
      };
      const std::string name = value("if");
      if (name.empty() || if_nametoindex(name.c_str()) == 0) continue;
      if (Error error = change(name + ":HA", value); !error.empty()) return error;
    }
  }
  return {};
}

}  // namespace

Error StartClusterAddresses() {
  return ForEachInterface([](const std::string& alias, const auto& value) {
    if (value("if_enabled") != "true") return Error();
    return SetAddress(alias, value("ip"), value("netmask"));
  });
}

Error StopClusterAddresses() {
  return ForEachInterface(
      [](const std::string& alias, const auto&) { return RemoveAddress(alias); });
}

}  // namespace simcluster
