#include "complete.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "conf_keys.h"
#include "nodes.h"
#include "rules.h"

namespace tavohactl {
namespace {

using Words = std::vector<std::string>;

Words KeyWords() {
  Words words;
  for (const ConfName& row : ConfNames()) words.emplace_back(row.name);
  return words;
}

// Of the default configuration, what an operator asks after.
Words ResourceWords() {
  return {"IP",          "FS",       "SERV", "DRBD", "CONF_SYNC", "INFO_SET", "CHECKPOINT_LAST",
          "DUMMY_START", "DUMMY_END"};
}

// What arguments of a name can be, whatever command they belong to.
constexpr struct {
  const char* argument;
  Words (*words)();
} kArguments[] = {
    {"NODE", NodeWords},     {"HOST", NodeWords},
    {"TYPE", RuleWords},     {"KEY", KeyWords},
    {"NAME", ResourceWords}, {"ROLE", [] { return Words{"primary", "secondary", "none"}; }},
};

Words ArgumentWords(const CLI::Option& argument) {
  for (const auto& row : kArguments) {
    if (argument.get_name() == row.argument) return row.words();
  }
  return {};
}

// An argument that may be left out may be the next one already.
Words PositionalWords(const CLI::App& command, size_t position) {
  Words words;
  for (const CLI::Option* argument : command.get_options()) {
    if (!argument->get_positional() || position-- > 0) continue;
    std::ranges::copy(ArgumentWords(*argument), std::back_inserter(words));
    if (argument->get_required() || words.empty()) break;
    position = 0;
  }
  return words;
}

std::vector<const CLI::App*> CommandsIn(const CLI::App& group) {
  return group.get_subcommands([](const CLI::App*) { return true; });
}

const CLI::App* FindCommand(const CLI::App& group, const std::string& name) {
  const std::vector<const CLI::App*> commands = CommandsIn(group);
  const auto found = std::ranges::find(commands, name, &CLI::App::get_name);
  return found == commands.end() ? nullptr : *found;
}

const CLI::Option* FindOption(const CLI::App* command, const std::string& name) {
  for (; command != nullptr; command = command->get_parent()) {
    if (const CLI::Option* option = command->get_option_no_throw(name)) return option;
  }
  return nullptr;
}

Words OptionWords(const CLI::App* command) {
  std::set<std::string> words;  // every command has its own --help
  for (; command != nullptr; command = command->get_parent()) {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames()) words.insert("--" + name);
    }
  }
  return {words.begin(), words.end()};
}

Words CommandWords(const CLI::App& group) {
  Words words;
  for (const CLI::App* command : CommandsIn(group)) words.push_back(command->get_name());
  return words;
}

}  // namespace

Words Completions(const CLI::App& root, const Words& words) {
  const CLI::App* at = &root;
  size_t position = 0;
  bool is_option_value = false;
  for (size_t i = 0; i + 1 < words.size(); ++i) {
    if (is_option_value) {
      is_option_value = false;
    } else if (words[i].starts_with("-")) {
      const CLI::Option* option = FindOption(at, words[i]);
      is_option_value = option != nullptr && option->get_items_expected_max() > 0;
    } else if (const CLI::App* command = FindCommand(*at, words[i])) {
      at = command;
    } else {
      ++position;
    }
  }
  if (is_option_value) return {};
  if (!words.empty() && words.back().starts_with("-")) return OptionWords(at);
  const Words commands = CommandWords(*at);
  if (commands.empty()) return PositionalWords(*at, position);
  return position == 0 ? commands : Words();
}

}  // namespace tavohactl
