// The location rules that keep the resource chain off a node.
#ifndef TAVOHACTL_RULES_H_
#define TAVOHACTL_RULES_H_

#include <tavohacore.h>

#include <string>
#include <vector>

namespace tavohactl {

// The words for the rules that there are.
std::vector<std::string> RuleWords();

// The words for the rules that stand for a node, one of host0 and host1.
std::vector<std::string> RulesOn(_tag_NODE_TYPE_ node);

}  // namespace tavohactl

#endif  // TAVOHACTL_RULES_H_
