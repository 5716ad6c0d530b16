// tavohactl status: both nodes, and how this one stands.
#include <tavohacore.h>

#include <string>

#include "command.h"

namespace tavohactl {
namespace {

constexpr int kHostNameSize = 64;

struct Host {
  _tag_NODE_TYPE_ node;
  const char* name;
};
constexpr Host kHosts[] = {{NODE_TYPE_HOST0, "host0"}, {NODE_TYPE_HOST1, "host1"}};

std::string HostName(_tag_NODE_TYPE_ node) {
  char name[kHostNameSize] = {};
  return HAGetNodeHostName(node, name, sizeof name) == 1 ? name : "";
}

Answer Status(const CLI::App&) {
  const std::string here = GetLocalHostname();
  Json nodes = Json::array();
  bool local_found = false;
  for (const auto& [node, name] : kHosts) {
    const std::string host_name = HostName(node);
    // As the library tells the nodes apart: by name, and host0 first should both have the same.
    const bool local = !local_found && !host_name.empty() && host_name == here;
    local_found = local_found || local;
    const auto status = static_cast<_tag_NODE_STATUS_>(HANodeStatusGet(node));
    nodes.push_back({{"node", name},
                     {"host_name", host_name},
                     {"status", HANodeStatusStr(status)},
                     {"local", local}});
  }
  return {.record = {{"this_host", here},
                     {"running", TAVOHAIsRunning() == 1},
                     {"active", TAVOHAIsActive() == 1},
                     {"safe_mode", TAVOHAIsSafemode() == 1},
                     {"upgrading", HAIsUpgrading() == 1},
                     {"corosync_alive", CrsyncIsRunning()},
                     {"pacemaker_alive", PcmkIsRunning() == 1},
                     {"nodes", nodes}}};
}

}  // namespace

void AddStatus(CommandTree* tree) {
  tree->AddCommand(tree->root(), "status", "Show both nodes, and how HA runs on this one", Status)
      ->footer(
          "Examples:\n"
          "  tavohactl status\n"
          "  tavohactl status --json | jq -r '.nodes[] | select(.local) | .status'\n");
}

}  // namespace tavohactl
