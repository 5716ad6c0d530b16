// What crm_resource and crm_node list.
#include <tavohacore.h>

#include "crm/tool_runner.h"
#include "fuzz/harness.h"

FUZZ(data) {
  fuzz::SetToolAnswer(data);
  crm::NameSet resources, members;
  fuzz::Require(crm::CrmGetResourceList(&resources) == static_cast<int>(resources.size()));
  fuzz::Require(crm::CrmGetNodeList(&members) == static_cast<int>(members.size()));
  for (const crm::NameSet* names : {&resources, &members}) {
    for (const std::string& name : *names) fuzz::Require(data.find(name) != data.npos);
  }
  if (!resources.empty()) {
    fuzz::Require(HACrmIsResourceConfigured(resources.rbegin()->c_str()) == 1);
  }
}
