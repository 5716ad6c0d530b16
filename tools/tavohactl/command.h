// How a command of tavohactl is made: it reads its arguments by name, asks the library, and returns
// an answer, which main prints. A command that cannot do so throws.
#ifndef TAVOHACTL_COMMAND_H_
#define TAVOHACTL_COMMAND_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace tavohactl {

// Members stay in the order in which they were added.
using Json = nlohmann::ordered_json;

// Room for a host name and for any one value of ha.conf, each with its ending NUL.
inline constexpr int kHostNameSize = 64;
inline constexpr int kValueSize = 1024;

struct Answer {
  Json record;                        // always an object
  std::optional<std::string> text{};  // for a reader; without it, the record is laid out as text
  bool yes = true;                    // turns into the exit status: 0 for yes and done, 1 for no
  bool printed = false;               // the command has printed what there was to say
};

// What was asked could not be done: exit status 1.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The command line makes no sense: exit status 2.
struct WrongUse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The failure of a call of the library, which tells the system log why.
Failure LibraryFailure(const std::string& what);

// An answer of one value, which is also the exit status.
Answer YesOrNo(const std::string& name, bool yes);

// A command, given its parsed command line.
using Command = std::function<Answer(const CLI::App&)>;

// The command line as a tree of groups and commands. The command that is met is kept for main.
class CommandTree {
 public:
  explicit CommandTree(CLI::App* root) : root_(root) {}

  CLI::App* root() const { return root_; }
  // Adds a word that only commands follow. `examples` are shown below its help, one a line.
  CLI::App* AddGroup(const std::string& name, const std::string& description,
                     const std::string& examples) const;
  // Adds a command below `group`. Arguments are added to what it returns.
  CLI::App* AddCommand(CLI::App* group, const std::string& name, const std::string& description,
                       Command command);
  Answer RunMet() const { return met_(); }

 private:
  CLI::App* root_;
  std::function<Answer()> met_;
};

// The text of an argument, or its default; empty when it has neither.
std::string Text(const CLI::App& arguments, const std::string& name);

// Each adds the commands of one file.
void AddCluster(CommandTree* tree);
void AddConf(CommandTree* tree);
void AddConfRecord(CommandTree* tree, CLI::App* conf);
void AddHost(CommandTree* tree);
void AddInterface(CommandTree* tree);
void AddIp(CommandTree* tree);
void AddNode(CommandTree* tree);
void AddPeer(CommandTree* tree);
void AddResource(CommandTree* tree);
void AddRule(CommandTree* tree);
void AddSpace(CommandTree* tree);
void AddStatus(CommandTree* tree);
void AddSync(CommandTree* tree);
void AddWatch(CommandTree* tree);

}  // namespace tavohactl

#endif  // TAVOHACTL_COMMAND_H_
