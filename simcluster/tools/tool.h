// The cluster tools of a simulated node: each takes its command line apart, looks at the cluster or
// changes it, and says what to print and how to exit.
#ifndef SIMCLUSTER_TOOLS_TOOL_H_
#define SIMCLUSTER_TOOLS_TOOL_H_

#include <string>
#include <string_view>
#include <vector>

namespace simcluster {

struct Outcome {
  int status = 0;
  std::string output{};
  std::string error{};  // for standard error, without the tool's name and the line end
};

using Arguments = std::vector<std::string>;  // without the tool's name

Outcome Cibadmin(const Arguments& arguments);
Outcome CorosyncObjctl(const Arguments& arguments);
Outcome Crm(const Arguments& arguments);
Outcome CrmMon(const Arguments& arguments);
Outcome CrmNode(const Arguments& arguments);
Outcome CrmResource(const Arguments& arguments);
// The appliance's own. Both note in the node's journal that they ran; the agent of the cluster's
// addresses brings them up or down, the control script does no more.
Outcome IpAgent(const Arguments& arguments);
Outcome ControlScript(const Arguments& arguments);

struct Tool {
  std::string_view name;
  Outcome (*run)(const Arguments& arguments);
};
inline constexpr Tool kTools[] = {
    {"cibadmin", Cibadmin}, {"corosync-objctl", CorosyncObjctl},
    {"crm", Crm},           {"crm_mon", CrmMon},
    {"crm_node", CrmNode},  {"crm_resource", CrmResource},
    {"IPaddr2", IpAgent},   {"rc.ha", ControlScript},
};

}  // namespace simcluster

#endif  // SIMCLUSTER_TOOLS_TOOL_H_
