// tavohactl: the HA core library at an operator's command line.
//
// Exit status: 0 for yes and done, 1 for no and failed, 2 for wrong use.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "complete.h"
#include "output.h"
#include "words.h"

namespace tavohactl {
namespace {

enum ExitStatus { kYes = 0, kNo = 1, kWrongUse = 2 };

// The shell's completion asks with this as first word; see tavohactl.bash.
constexpr char kComplete[] = "--complete";

// An argument's own text stands for it in the usage, and behind an option.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_opts(const CLI::Option* option) const override {
    if (option->get_positional()) return "";  // the usage shows which are required
    if (!HasText(option)) return Formatter::make_option_opts(option);
    return " " + option->get_option_text();
  }
  std::string make_option_usage(const CLI::Option* option) const override {
    return HasText(option) ? option->get_option_text() : Formatter::make_option_usage(option);
  }

 private:
  static bool HasText(const CLI::Option* option) { return !option->get_option_text().empty(); }
};

// The command or group that the command line got to.
const CLI::App* Deepest(const CLI::App* app) {
  while (!app->get_subcommands().empty()) app = app->get_subcommands().back();
  return app;
}

// All words that lead to a command: "tavohactl conf get".
std::string FullName(const CLI::App* app) {
  const std::string& name = app->get_name();
  return app->get_parent() == nullptr ? name : FullName(app->get_parent()) + " " + name;
}

std::vector<std::string> WordsAfter(const CLI::App* app) {
  std::vector<std::string> words;
  for (const CLI::App* command : app->get_subcommands([](const CLI::App*) { return true; })) {
    words.push_back(command->get_name());
  }
  return words;
}

std::vector<std::string> OptionsOf(const CLI::App* app) {
  std::vector<std::string> options;
  for (; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
    }
  }
  return options;
}

// Says what is wrong with a command line that the parser refused.
std::string Mistake(const CLI::App& root, const CLI::App* at, const CLI::ParseError& error) {
  const std::vector<std::string> left = root.remaining(true);
  const std::vector<std::string> commands = WordsAfter(at);
  const std::string place = at == &root ? "" : at->get_name() + ": ";
  if (left.empty()) {
    if (commands.empty()) return place + error.what();
    return fmt::format("{}a command is missing: {}", place, fmt::join(commands, ", "));
  }
  const std::string& word = left.front();
  if (word.starts_with("-")) {
    return fmt::format("{}no such option: {}{}", place, word, Suggestion(word, OptionsOf(at)));
  }
  if (commands.empty()) return fmt::format("{}there is no place for \"{}\"", place, word);
  return fmt::format("{}no such command: {}{}", place, word, Suggestion(word, commands));
}

void Complain(const std::string& message) { fmt::print(stderr, "tavohactl: {}\n", message); }

int Run(const CommandTree& tree, const CLI::App* at, bool json) try {
  const Answer answer = tree.RunMet();
  if (!answer.printed) Print(Format(answer, json));
  return answer.yes ? kYes : kNo;
} catch (const WrongUse& error) {
  Complain(error.what());
  fmt::print(stderr, "Try: {} --help\n", FullName(at));
  return kWrongUse;
} catch (const std::exception& error) {
  Complain(error.what());
  if (json) Print(Format({.record = {{"error", error.what()}}}, json));
  return kNo;
}

int Main(int argc, char** argv) {
  CLI::App root("Asks and steers the high-availability cluster of two nodes.", "tavohactl");
  root.formatter(std::make_shared<HelpFormatter>());
  CommandTree tree(&root);
  bool json = false;
  root.add_flag("--json", json, "Print the answer as JSON, for programs");
  root.set_version_flag("--version", TAVOHACTL_VERSION);
  root.require_subcommand(1);
  root.fallthrough();
  root.footer(
      "Exit status: 0 for yes and done, 1 for no and failed, 2 for wrong use.\n"
      "\n"
      "Examples:\n"
      "  tavohactl status                  both nodes, and how HA runs on this one\n"
      "  tavohactl watch                   the same on screen, with each change\n"
      "  tavohactl node standby local      hand the service over to the peer\n"
      "  tavohactl conf get host0          one value of ha.conf\n"
      "  tavohactl conf --help             more about a group of commands");
  AddStatus(&tree);
  AddWatch(&tree);
  AddNode(&tree);
  AddRule(&tree);
  AddResource(&tree);
  AddIp(&tree);
  AddCluster(&tree);
  AddPeer(&tree);
  AddSync(&tree);
  AddSpace(&tree);
  AddConf(&tree);
  AddInterface(&tree);
  AddHost(&tree);
  if (argc > 1 && strcmp(argv[1], kComplete) == 0) {
    for (const std::string& word : Completions(root, {argv + 2, argv + argc})) Print(word + "\n");
    return kYes;
  }
  try {
    root.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return root.exit(help);
  } catch (const CLI::ParseError& error) {
    const CLI::App* at = Deepest(&root);
    Complain(Mistake(root, at, error));
    fmt::print(stderr, "Try: {} --help\n", FullName(at));
    return kWrongUse;
  }
  return Run(tree, Deepest(&root), json);
}

}  // namespace
}  // namespace tavohactl

int main(int argc, char** argv) {
  try {
    return tavohactl::Main(argc, argv);
  } catch (const std::exception& error) {
    fmt::print(stderr, "tavohactl: {}\n", error.what());
    return tavohactl::kNo;
  }
}
