// tavohactl resource: where the cluster's resources run.
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <tavohacore.h>

#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "nodes.h"

namespace tavohactl {
namespace {

Answer ResourceWhere(const CLI::App& arguments) {
  const std::string resource = Text(arguments, "NAME");
  if (arguments.count("HOST") > 0) {
    std::string host = Text(arguments, "HOST");
    if (const std::optional<_tag_NODE_TYPE_> node = FindNode(host)) host = HostName(*node);
    return YesOrNo("running", HACrmIsResourceRunningAt(host.c_str(), resource.c_str()) == 1);
  }
  std::vector<std::string> hosts;
  for (const Host& row : kHosts) {
    const std::string host = HostName(row.node);
    if (!host.empty() && HACrmIsResourceRunningAt(host.c_str(), resource.c_str()) == 1) {
      hosts.push_back(host);
    }
  }
  return {.record = {{"hosts", hosts}},
          .text = hosts.empty() ? "nowhere" : fmt::format("{}", fmt::join(hosts, "\n")),
          .yes = !hosts.empty()};
}

Answer ResourceConfigured(const CLI::App& arguments) {
  return YesOrNo("configured", HACrmIsResourceConfigured(Text(arguments, "NAME").c_str()) == 1);
}

}  // namespace

void AddResource(CommandTree* tree) {
  CLI::App* group = tree->AddGroup("resource", "Where the cluster's resources run",
                                   "  tavohactl resource where IP\n"
                                   "  tavohactl resource where DRBD local\n"
                                   "  tavohactl resource configured FS && echo yes\n");
  CLI::App* where = tree->AddCommand(group, "where", "Print the nodes on which it runs",
                                     OnCluster(ResourceWhere));
  where->add_option("NAME", "A resource, for example IP")->required();
  where->add_option("HOST", "Ask after this host name only, or local, remote, host0, host1");
  tree->AddCommand(group, "configured", "Tell whether the cluster has it",
                   OnCluster(ResourceConfigured))
      ->add_option("NAME", "A resource, for example IP")
      ->required();
}

}  // namespace tavohactl
