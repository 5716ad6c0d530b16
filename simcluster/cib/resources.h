// The configured resources, as placing and listing them needs to see them.
#ifndef SIMCLUSTER_CIB_RESOURCES_H_
#define SIMCLUSTER_CIB_RESOURCES_H_

#include <string>
#include <vector>

#include "simcluster/cib/cib.h"

namespace simcluster {

struct Resource {
  enum class Kind { kPrimitive, kClone, kMasterSlave };

  Kind kind = Kind::kPrimitive;
  std::string id;         // of the set, where it is one
  std::string primitive;  // of the primitive itself
  bool managed = true;
  std::string target_role{};    // empty: as high as it can
  int migration_threshold = 0;  // failures on a node that drive it away from there; 0: none do
  int instances = 1;            // at most, over all nodes
};

// In the order of the configuration.
std::vector<Resource> Resources(const Cib& cib);

// The resource that is meant by its own or its primitive's id, with an instance suffix (":0") or
// without; null when there is none.
const Resource* FindResource(const std::vector<Resource>& resources, const std::string& name);

// The members of the colocations, each sequence in the order in which its members start.
std::vector<std::vector<std::string>> Chains(const Cib& cib);

}  // namespace simcluster

#endif  // SIMCLUSTER_CIB_RESOURCES_H_
