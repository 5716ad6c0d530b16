#include <algorithm>

#include "simcluster/state/cluster_state.h"
#include "simcluster/tools/tool.h"

namespace simcluster {

// One line a node: its name, a colon and its state's words.
Outcome CrmMon(const Arguments& arguments) {
  if (arguments != Arguments{"-1", "-S"}) return Refuse();
  Outcome outcome;
  for (const ClusterState::Node& node : ClusterState::Read(kSharedDirectory).nodes) {
    const auto* condition = std::ranges::find_if(
        kNodeConditions, [&](const auto& known) { return known.name == node.condition; });
    outcome.output += node.name + ": " + condition->words + "\n";
  }
  return outcome;
}

}  // namespace simcluster
