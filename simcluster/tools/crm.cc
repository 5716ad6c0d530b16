#include <fstream>
#include <sstream>

#include "simcluster/cib/configuration_script.h"
#include "simcluster/placement/placement.h"
#include "simcluster/tools/command_line.h"

namespace simcluster {
namespace {

void CheckNode(const Session& session, const std::string& host) {
  if (!session.cib.Node(host)) throw Failure(kExitFailed, "no such node: " + host);
}

std::string Standby(const Session& session, const Arguments& values) {
  CheckNode(session, values[0]);
  session.cib.SetStandby(values[0], true);
  return {};
}

std::string Online(const Session& session, const Arguments& values) {
  CheckNode(session, values[0]);
  session.cib.SetStandby(values[0], false);
  return {};
}

// Forgets the failures. What runs stays: a live node's resources are found again at once.
std::string ClearState(const Session& session, const Arguments& values) {
  CheckNode(session, values[0]);
  session.cib.ClearFailures(values[0]);
  return {};
}

// There is no power switch. What fencing gives is certainty that an unclean node is down.
std::string Fence(const Session& session, const Arguments& values) {
  CheckNode(session, values[0]);
  ClusterState::Change(kSharedDirectory, [&](ClusterState* state) {
    ClusterState::Node* node = state->Find(values[0]);
    if (node != nullptr && node->condition == "unclean") node->condition = "lost";
  });
  return {};
}

std::string DeleteNode(const Session& session, const Arguments& values) {
  CheckNode(session, values[0]);
  const ClusterState::Node* node = session.state.Find(values[0]);
  if (node != nullptr && node->Condition().is_managing) {
    throw Failure(kExitFailed, "node " + values[0] + " is not offline");
  }
  session.cib.Node(values[0]).Remove();
  if (const Element seen = session.cib.NodeState(values[0])) seen.Remove();
  return {};
}

// Takes back all that was configured but the nodes. As with the real shell, nothing may run.
std::string EraseConfiguration(const Session& session, const Arguments&) {
  for (const auto& [host, running] : RecordedPlacement(session.cib)) {
    if (running.empty()) continue;
    throw Failure(kExitFailed, "resource " + running.begin()->first + " is running on " + host +
                                   ": nothing was deleted");
  }
  for (const Element& section : session.cib.configuration().Children()) {
    if (section.name() != "nodes") section.RemoveChildren();
  }
  return {};
}

std::string DeleteConstraint(const Session& session, const Arguments& values) {
  for (const Element& constraint : session.cib.section("constraints").Children()) {
    if (constraint.id() != values[0]) continue;
    constraint.Remove();
    return {};
  }
  throw Failure(kExitFailed, "no such constraint: " + values[0]);
}

std::string RunScript(const Session& session, const Arguments& values) {
  std::ifstream file(values[0]);
  if (!file) throw Failure(kExitFailed, "cannot read " + values[0]);
  std::ostringstream text;
  text << file.rdbuf();
  try {
    RunConfigurationScript(text.str(), session.cib);
  } catch (const std::runtime_error& error) {
    throw Failure(kExitFailed, values[0] + ": " + error.what());
  }
  return {};
}

}  // namespace

Outcome Crm(const Arguments& arguments) {
  static constexpr CommandLine kKnown[] = {
      {"node standby ?", Standby},
      {"node online ?", Online},
      {"-F node clearstate ?", ClearState},
      {"-F node fence ?", Fence},
      {"node delete ?", DeleteNode},
      {"configure erase", EraseConfiguration},
      {"configure delete ?", DeleteConstraint},
      {"-f ?", RunScript},
  };
  return RunCommandLine(kKnown, arguments);
}

}  // namespace simcluster
