#include <algorithm>

#include "simcluster/cib/resources.h"
#include "simcluster/placement/placement.h"
#include "simcluster/tools/command_line.h"

namespace simcluster {
namespace {

constexpr char kMeta[] = "meta_attributes";

// One line a place at which an instance of the resource runs.
std::string Locate(const Session& session, const Arguments& values) {
  const std::vector<Resource> resources = Resources(session.cib);
  const Resource* resource = FindResource(resources, values[0]);
  if (resource == nullptr) {
    throw Failure(kExitNothingConfigured, "no such resource: " + values[0]);
  }
  std::string lines;
  for (const auto& [host, running] : RecordedPlacement(session.cib)) {
    const auto instance = running.find(resource->primitive);
    if (instance == running.end()) continue;
    lines += "resource " + values[0] + " is running on: " + host + " ";
    lines += instance->second == Role::kMaster ? "Master\n" : "\n";
  }
  return lines.empty() ? "resource " + values[0] + " is NOT running\n" : lines;
}

// The primitives, and each instance of those that have several.
std::string ListRaw(const Session& session, const Arguments&) {
  std::string lines;
  for (const Resource& resource : Resources(session.cib)) {
    if (resource.kind == Resource::Kind::kPrimitive) lines += resource.id + "\n";
    if (resource.kind == Resource::Kind::kPrimitive) continue;
    for (int i = 0; i < std::max(resource.instances, 1); ++i) {
      lines += resource.primitive + ":" + std::to_string(i) + "\n";
    }
  }
  if (lines.empty()) throw Failure(kExitNothingConfigured, "no resources configured");
  return lines;
}

// The element of a resource or a set of them.
Element Find(const Session& session, const std::string& id) {
  for (const Element& element : session.cib.section("resources").Children()) {
    if (element.id() == id) return element;
  }
  throw Failure(kExitNotFound, "no such resource: " + id);
}

std::string SetParameter(const Session& session, const Arguments& values) {
  Cib::SetPair(Find(session, values[0]), kMeta, values[1], values[2]);
  return {};
}

std::string DeleteParameter(const Session& session, const Arguments& values) {
  if (!Cib::RemovePair(Find(session, values[0]), kMeta, values[1])) {
    throw Failure(kExitNotFound, "no such parameter of " + values[0] + ": " + values[1]);
  }
  return {};
}

}  // namespace

Outcome CrmResource(const Arguments& arguments) {
  static constexpr CommandLine kKnown[] = {
      {"--resource ? --locate", Locate},
      {"--list-raw", ListRaw},
      {"--resource ? --set-parameter ? --meta --parameter-value ?", SetParameter},
      {"--resource ? --delete-parameter ? --meta", DeleteParameter},
  };
  return RunCommandLine(kKnown, arguments);
}

}  // namespace simcluster
