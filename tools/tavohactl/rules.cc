// tavohactl rule: the reasons why the resource chain keeps off a node.
#include "rules.h"

#include <fmt/format.h>

#include <algorithm>

#include "command.h"
#include "nodes.h"
#include "progress.h"
#include "words.h"

namespace tavohactl {
namespace {

struct Rule {
  const char* name;
  CRM_CONSTRAINT_TYPE type;
};
constexpr Rule kRules[] = {
    {"sync-done", CRM_CONSTRAINT_SYNC_DONE},       {"space-sync", CRM_CONSTRAINT_SPACE_SYNC},
    {"serv-fail", CRM_CONSTRAINT_SERV_FAIL},       {"memsize", CRM_CONSTRAINT_MEMSIZE},
    {"ping-server", CRM_CONSTRAINT_PING_SERVER},   {"sb", CRM_CONSTRAINT_SB},
    {"ver-mismatch", CRM_CONSTRAINT_VER_MISMATCH},
};

Answer RuleList(const CLI::App& arguments) {
  Json rules = Json::array();
  for (const auto& [name, node] : kHosts) {
    if (arguments.count("NODE") > 0 && AsHost(NodeArgument(arguments)) != node) continue;
    for (const std::string& rule : RulesOn(node)) {
      rules.push_back({{"rule", rule}, {"node", name}, {"host_name", HostName(node)}});
    }
  }
  Answer answer = {.record = {{"rules", rules}}};
  if (rules.empty()) answer.text = "no rules";
  return answer;
}

// What "rule add" and "rule remove" are given: "[NODE] TYPE".
struct Target {
  _tag_NODE_TYPE_ node;
  const Rule& rule;
};

Target ParseTarget(const CLI::App& arguments) {
  const std::string only_word = Text(arguments, "NODE");
  if (arguments.count("TYPE") > 0) {
    return {NodeArgument(arguments), Choose(kRules, Text(arguments, "TYPE"), "rule")};
  }
  if (only_word.empty() || FindNode(only_word)) throw WrongUse("TYPE is missing");
  return {NODE_TYPE_LOCAL, Choose(kRules, only_word, "rule")};
}

bool StandsFor(_tag_NODE_TYPE_ node, const Rule& rule) {
  return HACrmHasConstraintOnNode(AsHost(node), rule.type) == 1;
}

// Whether a rule that is there once for both nodes stands for either.
bool StandsForOne(const Rule& rule) {
  return rule.type != CRM_CONSTRAINT_SB &&
         (StandsFor(NODE_TYPE_HOST0, rule) || StandsFor(NODE_TYPE_HOST1, rule));
}

Answer RuleAdd(const CLI::App& arguments) {
  const auto [node, rule] = ParseTarget(arguments);
  const std::string name = DisplayName(node);
  const Progress progress(fmt::format("Adding the rule {} for {}", rule.name, name));
  const bool done = HACrmSetConstraintOnNode(1, node, rule.type) == 0;
  if (!done || !StandsFor(node, rule)) {
    // To the library it is enough that the other node has it.
    if (done && StandsForOne(rule)) {
      throw Failure(
          fmt::format("the rule {} stands for the other node; remove it first", rule.name));
    }
    throw LibraryFailure(fmt::format("the rule {} could not be added for {}", rule.name, name));
  }
  return {.record = {{"rule", rule.name}, {"host_name", name}},
          .text = fmt::format("the rule {} keeps the resources off {}", rule.name, name)};
}

Answer RuleRemove(const CLI::App& arguments) {
  const auto [node, rule] = ParseTarget(arguments);
  const Progress progress(fmt::format("Removing the rule {}", rule.name));
  if (HACrmSetConstraintOnNode(0, node, rule.type) != 0 || StandsFor(node, rule) ||
      StandsForOne(rule)) {
    throw LibraryFailure(fmt::format("the rule {} could not be removed", rule.name));
  }
  return {.record = {{"rule", rule.name}},
          .text = fmt::format("the rule {} is removed", rule.name)};
}

Answer RuleClear(const CLI::App& arguments) {
  const _tag_NODE_TYPE_ node = NodeArgument(arguments);
  const std::string name = DisplayName(node);
  const Progress progress("Removing every rule for " + name);
  HACrmRemoveConstraint(node);
  const std::vector<std::string> left = RulesOn(AsHost(node));
  if (!left.empty()) {
    throw LibraryFailure(
        fmt::format("the cluster still has rules for {}: {}", name, fmt::join(left, ", ")));
  }
  return {.record = {{"host_name", name}}, .text = "no rule keeps the resources off " + name};
}

}  // namespace

std::vector<std::string> RuleWords() {
  std::vector<std::string> words;
  for (const Rule& rule : kRules) words.emplace_back(rule.name);
  return words;
}

std::vector<std::string> RulesOn(_tag_NODE_TYPE_ node) {
  std::vector<std::string> words;
  if (HACrmHasAnyConstraintOnNode(node) != 1) return words;
  for (const Rule& rule : kRules) {
    if (HACrmHasConstraintOnNode(node, rule.type) == 1) words.emplace_back(rule.name);
  }
  return words;
}

void AddRule(CommandTree* tree) {
  CLI::App* group = tree->AddGroup(
      "rule", "Keep the resource chain off a node, each reason by a rule of its own",
      "  tavohactl rule list\n"
      "  tavohactl rule add serv-fail             on this node\n"
      "  tavohactl rule remove remote serv-fail\n"
      "\n"
      "A rule other than sb stands for one node at a time, and is removed wherever it is.\n");
  AddNodeArgument(
      tree->AddCommand(group, "list", "Show the rules of both nodes or one", OnCluster(RuleList)));
  CLI::App* add = tree->AddCommand(group, "add", "Add a rule", OnCluster(RuleAdd));
  CLI::App* remove = tree->AddCommand(group, "remove", "Remove a rule", OnCluster(RuleRemove));
  for (CLI::App* command : {add, remove}) {
    AddNodeArgument(command);
    command
        ->add_option("TYPE",
                     "sync-done, space-sync, serv-fail, memsize, ping-server, sb or ver-mismatch")
        ->option_text("TYPE");
  }
  AddNodeArgument(tree->AddCommand(group, "clear", "Remove every rule", OnCluster(RuleClear)));
}

}  // namespace tavohactl
