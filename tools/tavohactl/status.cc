// tavohactl status and role: how both nodes stand.
#include "status.h"

#include <tavohacore.h>

#include <string>

#include "command.h"
#include "nodes.h"
#include "rules.h"

namespace tavohactl {
namespace {

const char* ClusterWord() {
  constexpr const char* words[] = {"unknown", "normal",      "warning",
                                   "error",   "not_running", "single_node"};
  return words[HAStatusGet()];
}

Answer Status(const CLI::App&) { return {.record = StatusRecord()}; }

Answer Role(const CLI::App& arguments) {
  const _tag_NODE_TYPE_ node = NodeArgument(arguments);
  const char* role = RoleWord(node);
  return {.record = {{"host_name", HostName(node)}, {"role", role}}, .text = role};
}

}  // namespace

Json StatusRecord() {
  const std::string here = GetLocalHostname();
  const bool cluster_runs = ClusterRuns();
  Json nodes = Json::array();
  bool local_found = false;
  for (const auto& [name, node] : kHosts) {
    const std::string host_name = HostName(node);
    // As the library tells the nodes apart: by name, and host0 first should both have the same.
    const bool local = !local_found && !host_name.empty() && host_name == here;
    local_found = local_found || local;
    const auto status = static_cast<_tag_NODE_STATUS_>(HANodeStatusGet(node));
    nodes.push_back({{"node", name},
                     {"host_name", host_name},
                     {"local", local},
                     {"status", HANodeStatusStr(status)},
                     {"role", RoleWord(node)},
                     {"rules", cluster_runs ? RulesOn(node) : std::vector<std::string>()}});
  }
  return {{"this_host", here},
          {"cluster", ClusterWord()},
          {"running", TAVOHAIsRunning() == 1},
          {"active", TAVOHAIsActive() == 1},
          {"safe_mode", TAVOHAIsSafemode() == 1},
          {"upgrading", HAIsUpgrading() == 1},
          {"corosync_alive", CrsyncIsRunning()},
          {"pacemaker_alive", PcmkIsRunning() == 1},
          {"nodes", nodes}};
}

void AddStatus(CommandTree* tree) {
  tree->AddCommand(tree->root(), "status", "Show both nodes, and how HA runs on this one", Status)
      ->footer(
          "Examples:\n"
          "  tavohactl status\n"
          "  tavohactl status --json | jq -r '.nodes[] | select(.local) | .status'\n");
  CLI::App* role = tree->AddCommand(
      tree->root(), "role",
      "Print what a node does: none, active, passive, not_ready, active_partial or safe_mode",
      Role);
  AddNodeArgument(role);
  role->footer(
      "Examples:\n"
      "  tavohactl role\n"
      "  tavohactl role remote\n");
}

}  // namespace tavohactl
