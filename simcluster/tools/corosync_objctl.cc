#include "simcluster/tools/command_line.h"

namespace simcluster {
namespace {

constexpr char kMembers[] = "runtime.totem.pg.mrp.srp.members.";

std::string DeleteObject(const Session&, const Arguments& values) {
  ClusterState::Change(kSharedDirectory, [&](ClusterState* state) {
    for (ClusterState::Node& node : state->nodes) {
      if (values[0] != kMembers + node.name || !node.has_runtime_object) continue;
      node.has_runtime_object = false;
      return;
    }
    throw Failure(kExitFailed, "no such object: " + values[0]);
  });
  return {};
}

}  // namespace

Outcome CorosyncObjctl(const Arguments& arguments) {
  static constexpr CommandLine kKnown[] = {{"-d ?", DeleteObject}};
  return RunCommandLine(kKnown, arguments);
}

}  // namespace simcluster
