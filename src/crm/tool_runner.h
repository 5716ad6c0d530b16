// Asking and changing the cluster through its tools: what the files of this folder share.
#ifndef CRM_TOOL_RUNNER_H_
#define CRM_TOOL_RUNNER_H_

#include <cstddef>
#include <functional>
#include <set>
#include <string>

#include "frame/host_name.h"

namespace crm {

// The tools, always run by path.
inline constexpr char kCibAdmin[] = "/usr/bin/cibadmin";
inline constexpr char kCrm[] = "/usr/bin/crm";
inline constexpr char kCrmNode[] = "/usr/bin/crm_node";
inline constexpr char kCrmResource[] = "/usr/bin/crm_resource";
inline constexpr char kCorosyncObjctl[] = "/usr/bin/corosync-objctl";

// Room for a formatted XPath, XML element or other argument.
inline constexpr size_t kArgumentSize = 1024;

// Distinct names, by bytes. (Looked up without a copy, so that looking up cannot fail.)
using NameSet = std::set<std::string, std::less<>>;

// Questions to the configuration that this node has. A tool that cannot be run says no attribute
// and no rule.
bool CrmIsResourceManaged(const char* resource);
bool CrmHasTargetRole(const char* resource);
bool CrmHasLocationConstraint(const char* constraint);

// Makes a change that can be checked: runs `command` (the tool's path first, a null pointer last)
// and asks `check` about `name`, up to five times and 3 seconds apart, until the answer is
// `expected`. Returns 1, or 0 with a logged ERROR. Only the answers count, not how the command
// ended.
int CrmExecUntil(const char* name, bool (*check)(const char*), bool expected,
                 const char* const command[]);

// Lists the configured resources, a clone's instances as one. Returns their number, or -1 with
// `out` unchanged.
int CrmGetResourceList(NameSet* out);
// Counts them. Returns -1 also while HA does not run.
int CrmGetResourceCount();

// Lists the cluster's members that are not lost. Returns their number, or -1 with `out` unchanged.
int CrmGetNodeList(NameSet* out);

}  // namespace crm

#endif  // CRM_TOOL_RUNNER_H_
