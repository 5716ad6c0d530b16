#include "nodes.h"

#include <algorithm>
#include <utility>

#include "words.h"

namespace tavohactl {
namespace {

constexpr Host kNodeWords[] = {
    {"local", NODE_TYPE_LOCAL},
    {"remote", NODE_TYPE_REMOTE},
    {"host0", NODE_TYPE_HOST0},
    {"host1", NODE_TYPE_HOST1},
};

constexpr const char* kRoleWords[] = {"none",      "active",         "passive",
                                      "not_ready", "active_partial", "safe_mode"};

// Which node has the other as its counterpart in the other pair of words: with direction 0 local is
// host0.
_tag_NODE_TYPE_ Other(_tag_NODE_TYPE_ node, _tag_NODE_TYPE_ on_host0, _tag_NODE_TYPE_ otherwise) {
  const bool here_is_host0 = TAVOHAGetHostDirection() == 0;
  const bool first = node == NODE_TYPE_LOCAL || node == NODE_TYPE_HOST0;
  return first == here_is_host0 ? on_host0 : otherwise;
}

}  // namespace

std::vector<std::string> NodeWords() {
  std::vector<std::string> words;
  for (const Host& row : kNodeWords) words.emplace_back(row.name);
  return words;
}

std::optional<_tag_NODE_TYPE_> FindNode(std::string_view word) {
  const auto* found = std::ranges::find(kNodeWords, word, &Host::name);
  return found == std::end(kNodeWords) ? std::nullopt : std::optional(found->node);
}

_tag_NODE_TYPE_ NodeArgument(const CLI::App& arguments, _tag_NODE_TYPE_ otherwise) {
  if (arguments.count("NODE") == 0) return otherwise;
  return Choose(kNodeWords, Text(arguments, "NODE"), "node").node;
}

CLI::Option* AddNodeArgument(CLI::App* command) {
  return command->add_option("NODE", "local, remote, host0 or host1");
}

std::string HostName(_tag_NODE_TYPE_ node) {
  char name[kHostNameSize] = {};
  return HAGetNodeHostName(node, name, sizeof name) == 1 ? name : "";
}

std::string DisplayName(_tag_NODE_TYPE_ node) {
  const std::string name = HostName(node);
  return name.empty() ? std::ranges::find(kNodeWords, node, &Host::node)->name : name;
}

_tag_NODE_TYPE_ AsHost(_tag_NODE_TYPE_ node) {
  if (node == NODE_TYPE_HOST0 || node == NODE_TYPE_HOST1) return node;
  return Other(node, NODE_TYPE_HOST0, NODE_TYPE_HOST1);
}

_tag_NODE_TYPE_ AsLocalOrRemote(_tag_NODE_TYPE_ node) {
  if (node == NODE_TYPE_LOCAL || node == NODE_TYPE_REMOTE) return node;
  return Other(node, NODE_TYPE_LOCAL, NODE_TYPE_REMOTE);
}

const char* RoleWord(_tag_NODE_TYPE_ node) {
  return kRoleWords[HANodeRoleTypeGet(AsLocalOrRemote(node))];
}

bool ClusterRuns() { return TAVOHAIsRunning() == 1 && HAIsRunningCoroPace() == 1; }

Command OnCluster(Command command) {
  return [command = std::move(command)](const CLI::App& arguments) {
    if (!ClusterRuns()) {
      throw Failure("HA or its cluster daemons do not run on this node (see \"tavohactl status\")");
    }
    return command(arguments);
  };
}

}  // namespace tavohactl
