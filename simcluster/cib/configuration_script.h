// The configuration language of the crm shell, as far as a script needs it that sets up a cluster:
//
//   configure
//   property NAME=VALUE...
//   rsc_defaults NAME=VALUE...
//   primitive ID CLASS:PROVIDER:TYPE [params NAME=VALUE...] [op NAME NAME=VALUE...]...
//             [meta NAME=VALUE...]
//   ms|clone ID PRIMITIVE [meta NAME=VALUE...]
//   colocation ID SCORE: RESOURCE[:ROLE]...
//   order ID KIND: RESOURCE[:ACTION]...
//   commit
//   exit
#ifndef SIMCLUSTER_CIB_CONFIGURATION_SCRIPT_H_
#define SIMCLUSTER_CIB_CONFIGURATION_SCRIPT_H_

#include <string>

#include "simcluster/cib/cib.h"

namespace simcluster {

// Carries the script out on the base. Throws std::runtime_error that names the line when anything
// in it is wrong, or is there already; the base may then hold a part of it.
void RunConfigurationScript(const std::string& text, const Cib& cib);

}  // namespace simcluster

#endif  // SIMCLUSTER_CIB_CONFIGURATION_SCRIPT_H_
