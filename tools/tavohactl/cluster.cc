// tavohactl cluster: the cluster's configuration as a whole.
#include <fmt/format.h>
#include <tavohacore.h>

#include "command.h"
#include "nodes.h"
#include "progress.h"

namespace tavohactl {
namespace {

// Of the default configuration, the resource without which there is no chain.
constexpr char kFirstResource[] = "DUMMY_START";

Answer Done(const std::string& text) { return {.record = {{"done", true}}, .text = text}; }

std::string Extent(const CLI::App& arguments) {
  return arguments.count("--full") == 0
             ? "the cluster's resources and rules"
             : "all that the cluster manager keeps, both nodes standing by";
}

Answer ClusterInit(const CLI::App& arguments) {
  Confirm(arguments,
          fmt::format("erase {}, and load the default configuration", Extent(arguments)));
  const Progress progress("Loading the default configuration");
  if (HACrmConfInit(arguments.count("--full") > 0 ? 1 : 0) != 0) {
    throw LibraryFailure("the default configuration could not be loaded");
  }
  return Done("the default configuration is loaded");
}

Answer ClusterReset(const CLI::App& arguments) {
  Confirm(arguments, "erase " + Extent(arguments));
  const Progress progress("Erasing the configuration");
  HACrmConfReset(arguments.count("--full") > 0 ? 1 : 0);
  if (HACrmIsResourceConfigured(kFirstResource) == 1) {
    throw LibraryFailure(
        arguments.count("--full") > 0
            ? "the configuration is not erased"
            : "the configuration is not erased: while resources run, only --full does that");
  }
  return Done("the configuration is erased");
}

Answer ClusterClean(const CLI::App&) {
  const Progress progress("Removing what manual interventions left");
  HACrmCleanState();
  return Done("what manual interventions left is removed");
}

Answer ClusterRemovePeer(const CLI::App& arguments) {
  const std::string name = DisplayName(NODE_TYPE_REMOTE);
  Confirm(arguments, fmt::format("tell {} to unbind, and remove it from the cluster", name));
  const Progress progress(fmt::format("Waiting for {} to leave, and removing it", name));
  if (HACrmRemoveRemote(Text(arguments, "--text").c_str()) != 0) {
    throw LibraryFailure("there is no peer to remove, or it cannot be told");
  }
  return Done(name + " is removed");
}

}  // namespace

void AddCluster(CommandTree* tree) {
  CLI::App* group =
      tree->AddGroup("cluster", "Set up, erase or dissolve the cluster",
                     "  tavohactl cluster init --full     from nothing; then bring the "
                     "nodes online\n"
                     "  tavohactl cluster clean           after manual interventions\n"
                     "  tavohactl cluster remove-peer --yes\n");
  CLI::App* init = tree->AddCommand(group, "init", "Erase the configuration, load the default one",
                                    OnCluster(ClusterInit));
  CLI::App* reset =
      tree->AddCommand(group, "reset", "Erase the configuration", OnCluster(ClusterReset));
  for (CLI::App* command : {init, reset}) {
    const std::string full = "Put both nodes on standby around it, and erase everything else too";
    command->add_flag("--full", full);
    AddConfirmation(command);
  }
  tree->AddCommand(group, "clean", "Remove left-over standby rules, roles and flags",
                   OnCluster(ClusterClean));
  CLI::App* remove = tree->AddCommand(group, "remove-peer",
                                      "Dissolve the cluster, this node staying; up to 25 minutes",
                                      ClusterRemovePeer);
  remove->add_option("--text", "What the peer is told along with it");
  AddConfirmation(remove);
}

}  // namespace tavohactl
