// What the cluster tools have in common: they understand the command lines of a table and no other,
// need the node's cluster stack, and work on the settled cluster while no other tool does.
#ifndef SIMCLUSTER_TOOLS_COMMAND_LINE_H_
#define SIMCLUSTER_TOOLS_COMMAND_LINE_H_

#include <span>
#include <stdexcept>
#include <string>

#include "simcluster/cib/cib.h"
#include "simcluster/state/cluster_state.h"
#include "simcluster/tools/tool.h"

namespace simcluster {

// How tools exit that could not do what they were asked.
inline constexpr int kExitFailed = 1;
inline constexpr int kExitNotFound = 6;
inline constexpr int kExitInvalid = 22;
inline constexpr int kExitUsage = 64;
inline constexpr int kExitNotUnique = 76;
inline constexpr int kExitNotConnected = 107;
inline constexpr int kExitNothingConfigured = 234;

// Ends a tool that has changed nothing.
struct Failure : std::runtime_error {
  Failure(int exit_status, const std::string& why) : std::runtime_error(why), status(exit_status) {}
  int status;
};

// What a tool works on.
struct Session {
  const ClusterState& state;
  const Cib& cib;
};

struct CommandLine {
  const char* form;  // the arguments with blanks between, "?" where any one can stand
  // Does the work, given the arguments in the places of "?", and returns what to print.
  std::string (*run)(const Session& session, const Arguments& values);
};

Outcome RunCommandLine(std::span<const CommandLine> known, const Arguments& arguments);

}  // namespace simcluster

#endif  // SIMCLUSTER_TOOLS_COMMAND_LINE_H_
