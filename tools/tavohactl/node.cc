// tavohactl node and wait: nodes online and on standby.
#include <fmt/format.h>
#include <tavohacore.h>

#include "command.h"
#include "nodes.h"
#include "progress.h"

namespace tavohactl {
namespace {

const char* StatusWord(_tag_NODE_TYPE_ node) {
  return HANodeStatusStr(static_cast<_tag_NODE_STATUS_>(HANodeStatusGet(node)));
}

Answer NodeOnline(const CLI::App& arguments) {
  const _tag_NODE_TYPE_ node = NodeArgument(arguments);
  const std::string name = DisplayName(node);
  const Progress progress("Waiting for " + name + " to be online");
  HACrmOnline(node);
  const std::string status = StatusWord(node);
  if (status != HANodeStatusStr(NODE_STATUS_ONLINE)) {
    throw LibraryFailure(fmt::format("{} is not online but {}", name, status));
  }
  return {.record = {{"host_name", name}, {"status", status}}, .text = name + " is online"};
}

Answer NodeStandby(const CLI::App& arguments) {
  const _tag_NODE_TYPE_ node = NodeArgument(arguments);
  const std::string name = DisplayName(node);
  const Progress progress("Waiting for the resources to leave " + name);
  if (HACrmStandby(node) != 1) throw LibraryFailure(name + " did not go on standby");
  return {.record = {{"host_name", name}, {"status", StatusWord(node)}},
          .text = name + " is on standby"};
}

Answer NodeExists(const CLI::App& arguments) {
  return YesOrNo("exists", HACrmIsNodeExist(NodeArgument(arguments)) == 1);
}

Answer NodeFailedOp(const CLI::App& arguments) {
  return YesOrNo("failed_op", HACrmHasFailedOp(NodeArgument(arguments)) == 1);
}

Answer Wait(const CLI::App&) {
  const Progress progress("Waiting for the resource chain to settle");
  if (HAWaitCrmDone() != 1) throw LibraryFailure("the resource chain has not settled");
  const char* role = RoleWord(NODE_TYPE_LOCAL);
  return {.record = {{"role", role}}, .text = fmt::format("settled: this node is {}", role)};
}

}  // namespace

void AddNode(CommandTree* tree) {
  CLI::App* group = tree->AddGroup("node", "Bring a node online, put it on standby, ask after it",
                                   "  tavohactl node standby local      hand the service over\n"
                                   "  tavohactl node online local       and be ready again\n"
                                   "  tavohactl node failed-op remote || echo all is well\n");
  const struct {
    const char* name;
    const char* description;
    Answer (*command)(const CLI::App&);
  } commands[] = {
      {"online", "Bring a node online; up to two minutes", NodeOnline},
      {"standby", "Move all resources off a node; up to ten minutes", NodeStandby},
      {"exists", "Tell whether the cluster's configuration has the node", NodeExists},
      {"failed-op", "Tell whether an operation has failed on the node", NodeFailedOp},
  };
  for (const auto& [name, description, command] : commands) {
    AddNodeArgument(tree->AddCommand(group, name, description, OnCluster(command)))->required();
  }
  tree->AddCommand(tree->root(), "wait",
                   "Wait until this node is active or passive; up to an hour and a half",
                   OnCluster(Wait))
      ->footer("Examples:\n  tavohactl wait && tavohactl role\n");
}

}  // namespace tavohactl
