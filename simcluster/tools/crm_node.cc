#include <unistd.h>

#include "simcluster/messages/messages.h"
#include "simcluster/tools/command_line.h"

namespace simcluster {
namespace {

// Lists the members and those that were. A node that was told to leave is seen as a member once
// more, and then is lost.
std::string ListMembers(const Session& session, const Arguments&) {
  std::string lines;
  for (const ClusterState::Node& node : session.state.nodes) {
    if (!node.is_listed) continue;
    lines += node.id + " " + node.name + (node.Condition().is_member ? " member\n" : " lost\n");
  }
  ClusterState::Change(kSharedDirectory, [](ClusterState* state) {
    for (ClusterState::Node& node : state->nodes) {
      if (node.leaving) node.condition = "lost";
      node.leaving = false;
    }
  });
  return lines;
}

std::string RemoveMember(const Session&, const Arguments& values) {
  ClusterState::Change(kSharedDirectory, [&](ClusterState* state) {
    for (ClusterState::Node& node : state->nodes) {
      if (node.id != values[0] || !node.is_listed) continue;
      if (node.Condition().is_member) throw Failure(kExitFailed, node.name + " is a member");
      node.is_listed = false;
      return;
    }
    throw Failure(kExitNotFound, "no such member: " + values[0]);
  });
  return {};
}

std::string SendMessage(const Session& session, const Arguments& values) {
  const ClusterState::Node* node = session.state.Find(values[0]);
  if (node == nullptr || !node->Condition().is_member) {
    throw Failure(kExitFailed, "no such member: " + values[0]);
  }
  Deliver(values[0], values[1]);
  // The answer too, where there is one, so that the sender need not wait for it.
  char own_host[65] = {};
  gethostname(own_host, sizeof own_host - 1);
  WaitUntilHandled(values[0]);
  WaitUntilHandled(own_host);
  return {};
}

}  // namespace

Outcome CrmNode(const Arguments& arguments) {
  static constexpr CommandLine kKnown[] = {
      {"--list", ListMembers},
      {"-R ? --force", RemoveMember},
      {"--node ? --mesg ?", SendMessage},
  };
  return RunCommandLine(kKnown, arguments);
}

}  // namespace simcluster
