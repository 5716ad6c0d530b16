#include "crm/tool_runner.h"

#include <sys/wait.h>
#include <tavohacore/crm.h>
#include <tavohacore/state.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "crm/wait_until.h"
#include "frame/contain.h"
#include "frame/line_reader.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

using crm::Budget;
using crm::kCrmResource;
using crm::NameSet;

constexpr char kLogModule[] = "libcrm";
constexpr Budget kConfirmation{.checks = 5, .pause = std::chrono::seconds(3)};

// What the resource tool exits with when there is nothing to list: not a failure.
constexpr int kExitNothingFound = 234;

// Adds the name, if any, that `name_of` finds in each line of a tool's output (trimmed, and not
// empty) to `names`. A name may be empty. Returns the tool's wait status, or -1 when it could not
// be started, read or waited for.
template <typename NameOf>
int ReadListing(FILE* stream, NameOf name_of, NameSet* names) {
  platform::ToolOutput tool(stream);
  if (!tool) return -1;
  frame::LineReader reader(tool.stream());
  while (reader.Next()) {
    if (TAVLIBStrTrimSpace(reader.text(), 0) < 1) continue;
    const std::optional<std::string_view> name = name_of(reader.text());
    if (name) names->emplace(*name);
  }
  const int status = tool.Close();
  return reader.failed() ? -1 : status;
}

// Judges a listing of the resource tool: returns how many names it gave, or -1.
int ResourceToolCount(int wait_status, NameSet* names) {
  if (!WIFEXITED(wait_status)) return -1;
  if (WEXITSTATUS(wait_status) == kExitNothingFound) {
    names->clear();
  } else if (WEXITSTATUS(wait_status) != 0) {
    return -1;
  }
  return static_cast<int>(names->size());
}

// "resource IP is running on: nodeA Master" names nodeA. Where something else than a blank and a
// name follows the first colon, the resource still runs, on a node that has no name.
std::optional<std::string_view> NodeOfLocation(std::string_view line) {
  const size_t colon = line.find(':');
  if (colon == line.npos || colon + 1 == line.size()) return std::nullopt;
  const std::string_view node = line.substr(colon + 2);
  return node.substr(0, node.find(' '));
}

// "PING_SERVER_:1", a clone's instance, names PING_SERVER_.
std::optional<std::string_view> ResourceOfListing(std::string_view line) {
  return line.substr(0, line.rfind(':'));
}

// Reads where `resource` runs. Returns the number of nodes, or -1.
int LocateResource(const char* resource, NameSet* nodes) {
  const int status = ReadListing(TAVLIBPopen(kCrmResource, "r", "--resource", resource, "--locate",
                                             static_cast<char*>(nullptr)),
                                 NodeOfLocation, nodes);
  return ResourceToolCount(status, nodes);
}

}  // namespace

namespace crm {

bool CrmIsResourceManaged(const char* resource) {
  char xpath[kArgumentSize];
  snprintf(xpath, sizeof xpath,
           "//nvpair[@id=\"%s-meta_attributes-is-managed\" and @name=\"is-managed\" and "
           "@value=\"false\"]",
           resource);
  const char* const command[] = {kCibAdmin, "-Ql", "--xpath", xpath, nullptr};
  return TAVLIBExecv(kCibAdmin, command, 1) != 0;
}

bool CrmHasTargetRole(const char* resource) {
  char xpath[kArgumentSize];
  snprintf(xpath, sizeof xpath,
           "//nvpair[@id=\"%s-meta_attributes-target-role\" and @name=\"target-role\"]", resource);
  const char* const command[] = {kCibAdmin, "-Ql", "--xpath", xpath, nullptr};
  return TAVLIBExecv(kCibAdmin, command, 1) == 0;
}

bool CrmHasLocationConstraint(const char* constraint) {
  char xpath[kArgumentSize];
  snprintf(xpath, sizeof xpath, "//rsc_location[@id='%s']", constraint);
  return TAVLIBExec(kCibAdmin, "-Ql", "--xpath", xpath, nullptr) == 0;
}

int CrmExecUntil(const char* name, bool (*check)(const char*), bool expected,
                 const char* const command[]) {
  const bool confirmed = WaitUntil(kConfirmation, [&](int) {
    TAVLIBExecv(command[0], command, 1);
    return check(name) == expected;
  });
  if (!confirmed) HA_LOG(ERROR, "check %s timeout", name);
  return confirmed ? 1 : 0;
}

int CrmGetResourceList(NameSet* out) {
  return frame::Contain(-1, [&] {
    NameSet names;
    const int status =
        ReadListing(TAVLIBPopen(kCrmResource, "r", "--list-raw", static_cast<char*>(nullptr)),
                    ResourceOfListing, &names);
    const int count = ResourceToolCount(status, &names);
    if (count != -1) *out = std::move(names);
    return count;
  });
}

int CrmGetResourceCount() {
  if (TAVOHAIsRunning() == 0) return -1;
  NameSet names;
  return CrmGetResourceList(&names);
}

int CrmGetNodeList(NameSet* out) {
  return frame::Contain(-1, [&] {
    platform::SzList fields;
    if (!fields) return -1;
    // "33685161 nodeB member": id, name, state.
    const auto member_of_line = [&](const char* line) -> std::optional<std::string_view> {
      TAVLIBSzListRemoveAll(fields.get());
      const int count = TAVLIBStrSep(line, " ", fields.address());
      if (count < 0) throw std::bad_alloc();  // a listing without this line would not be whole
      if (count != 3) return std::nullopt;
      const char* name = TAVLIBSzListGet(fields.get(), 1);
      const char* state = TAVLIBSzListGet(fields.get(), 2);
      if (name == nullptr || state == nullptr || strcmp(state, "lost") == 0) {
        return std::nullopt;
      }
      return name;
    };
    NameSet names;
    if (ReadListing(TAVLIBPopen(kCrmNode, "r", "--list", static_cast<char*>(nullptr)),
                    member_of_line, &names) != 0) {
      return -1;
    }
    *out = std::move(names);
    return static_cast<int>(out->size());
  });
}

}  // namespace crm

int HACrmIsResourceRunningAt(const char* node, const char* rsc) {
  if (rsc == nullptr) {
    HA_RECORD(frame::kErrorBadParameter);
    return 0;
  }
  if (HAIsRunningCoroPace() == 0) return 0;
  NameSet nodes;
  if (frame::Contain(-1, [&] { return LocateResource(rsc, &nodes); }) == -1) {
    HA_LOG(ERROR, "Failed to get resource location of %s", rsc);
    return 0;
  }
  const bool runs = node == nullptr ? !nodes.empty() : nodes.contains(node);
  return runs ? 1 : 0;
}

int HACrmIsResourceConfigured(const char* rsc) {
  if (rsc == nullptr) return 0;
  NameSet resources;
  return crm::CrmGetResourceList(&resources) > 0 && resources.contains(rsc) ? 1 : 0;
}

int HACrmIncreaseAdminEpoch() {
  return TAVLIBExec(crm::kCibAdmin, "--modify", "--xml-text",
                    "<cib admin_epoch=\"admin_epoch++\"/>", nullptr);
}
