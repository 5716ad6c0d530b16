#include "command.h"

#include <utility>

namespace tavohactl {

Failure LibraryFailure(const std::string& what) {
  return Failure(what + "; see the system log, lines with [HA-ERROR]");
}

Answer YesOrNo(const std::string& name, bool yes) {
  return {.record = {{name, yes}}, .text = yes ? "yes" : "no", .yes = yes};
}

CLI::App* CommandTree::AddGroup(const std::string& name, const std::string& description,
                                const std::string& examples) const {
  CLI::App* group = root_->add_subcommand(name, description);
  group->require_subcommand(1);
  group->footer("Examples:\n" + examples);
  return group;
}

CLI::App* CommandTree::AddCommand(CLI::App* group, const std::string& name,
                                  const std::string& description, Command command) {
  CLI::App* added = group->add_subcommand(name, description);
  added->callback([this, added, command = std::move(command)] {
    met_ = [added, command] { return command(*added); };
  });
  return added;
}

std::string Text(const CLI::App& arguments, const std::string& name) {
  const CLI::Option* option = arguments[name];
  if (option->empty() && option->get_default_str().empty()) return {};
  return option->as<std::string>();
}

}  // namespace tavohactl
