#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "simcluster/network/cluster_address.h"
#include "simcluster/root/descriptor.h"
#include "simcluster/state/cluster_state.h"
#include "simcluster/tools/command_line.h"

namespace simcluster {
namespace {

// Adds a line to the node's journal: the program, its arguments, and the environment after a bar.
void Note(const std::string& program, const Arguments& arguments) {
  std::string line = program;
  for (const std::string& argument : arguments) line += " " + argument;
  line += " |";
  for (char** variable = environ; *variable != nullptr; ++variable) {
    line += std::string(" ") + *variable;
  }
  std::ranges::replace(line, '\n', ' ');
  line += '\n';
  char host[65] = {};
  gethostname(host, sizeof host - 1);
  const std::string directory = std::string(kSharedDirectory) + "/journal";
  std::filesystem::create_directories(directory);
  const std::string path = directory + "/" + host;
  const Descriptor journal(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  if (!journal ||
      write(journal.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("cannot write " + path + ": " + strerror(errno));
  }
}

Outcome NoteStartOrStop(const std::string& program, const Arguments& arguments) {
  if (arguments != Arguments{"start"} && arguments != Arguments{"stop"}) {
    return {.status = kExitUsage, .error = "arguments not understood"};
  }
  Note(program, arguments);
  return {};
}

}  // namespace

Outcome IpAgent(const Arguments& arguments) {
  Outcome outcome = NoteStartOrStop("IPaddr2", arguments);
  if (outcome.status != 0) return outcome;
  outcome.error = arguments[0] == "start" ? StartClusterAddresses() : StopClusterAddresses();
  outcome.status = outcome.error.empty() ? 0 : kExitFailed;
  return outcome;
}

Outcome ControlScript(const Arguments& arguments) { return NoteStartOrStop("rc.ha", arguments); }

}  // namespace simcluster
