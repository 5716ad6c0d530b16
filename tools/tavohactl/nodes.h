// The nodes, as an operator names them.
#ifndef TAVOHACTL_NODES_H_
#define TAVOHACTL_NODES_H_

#include <tavohacore.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "command.h"

namespace tavohactl {

// The two nodes as ha.conf names them.
struct Host {
  const char* name;
  _tag_NODE_TYPE_ node;
};
inline constexpr Host kHosts[] = {{"host0", NODE_TYPE_HOST0}, {"host1", NODE_TYPE_HOST1}};

// The words for a node.
std::vector<std::string> NodeWords();
// Understands "local", "remote", "host0" and "host1"; empty where it is none of them.
std::optional<_tag_NODE_TYPE_> FindNode(std::string_view word);
// The same for an argument NODE, which stands for `otherwise` where it is absent. Throws WrongUse.
_tag_NODE_TYPE_ NodeArgument(const CLI::App& arguments,
                             _tag_NODE_TYPE_ otherwise = NODE_TYPE_LOCAL);
// Adds that argument to a command.
CLI::Option* AddNodeArgument(CLI::App* command);

// The host name of a node; empty where it has none.
std::string HostName(_tag_NODE_TYPE_ node);
// The same for messages: where a node has no name, its place in the pair.
std::string DisplayName(_tag_NODE_TYPE_ node);

// The same node as the other pair of words has it. A direction that cannot be told is taken for
// that of host1, as the library does for a host name that it does not know.
_tag_NODE_TYPE_ AsHost(_tag_NODE_TYPE_ node);
_tag_NODE_TYPE_ AsLocalOrRemote(_tag_NODE_TYPE_ node);

const char* RoleWord(_tag_NODE_TYPE_ node);

// Whether HA and both cluster daemons run here, without which no question about the cluster has an
// answer.
bool ClusterRuns();
// A command that fails where the cluster does not run: the library's answers are "no" then.
Command OnCluster(Command command);

}  // namespace tavohactl

#endif  // TAVOHACTL_NODES_H_
