#include "simcluster/tools/command_line.h"

#include <signal.h>

#include <fstream>
#include <optional>
#include <sstream>

#include "simcluster/placement/settle.h"

namespace simcluster {
namespace {

// The arguments in the places of "?", or nothing when the form is another.
std::optional<Arguments> Match(const std::string& form, const Arguments& arguments) {
  Arguments values;
  std::istringstream words(form);
  auto argument = arguments.begin();
  for (std::string word; words >> word; ++argument) {
    if (argument == arguments.end()) return {};
    if (word == "?") {
      values.push_back(*argument);
    } else if (word != *argument) {
      return {};
    }
  }
  if (argument != arguments.end()) return {};
  return values;
}

bool StackRuns() {
  for (const char* daemon : {"corosync", "pacemaker"}) {
    std::ifstream file(std::string("/usr/tavo/tavoha/var/run/") + daemon + ".pid");
    pid_t id = 0;
    if (!(file >> id) || id <= 0 || kill(id, 0) != 0) return false;
  }
  return true;
}

Outcome Run(const CommandLine& command, const Arguments& values) {
  if (!StackRuns()) {
    return {.status = kExitNotConnected, .error = "connection to the cluster failed"};
  }
  Outcome outcome;
  try {
    OnSettledCluster(kSharedDirectory, [&](const ClusterState& state, const Cib& cib) {
      outcome.output = command.run({state, cib}, values);
    });
  } catch (const Failure& failure) {
    outcome = {.status = failure.status, .error = failure.what()};
  }
  return outcome;
}

}  // namespace

Outcome RunCommandLine(std::span<const CommandLine> known, const Arguments& arguments) {
  for (const CommandLine& command : known) {
    if (const auto values = Match(command.form, arguments)) return Run(command, *values);
  }
  return {.status = kExitUsage, .error = "arguments not understood"};
}

}  // namespace simcluster
