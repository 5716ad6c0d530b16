#include "simcluster/cib/resources.h"

#include <algorithm>
#include <cstdlib>

namespace simcluster {
namespace {

constexpr char kMeta[] = "meta_attributes";

// A meta attribute of the resource: of the set when that has it, else of the primitive.
std::string Meta(const Element& resource, const Element& primitive, const std::string& name) {
  const std::string value = Cib::Pair(resource, kMeta, name);
  return value.empty() ? Cib::Pair(primitive, kMeta, name) : value;
}

// The resources that a constraint of several refers to.
std::vector<std::string> References(const Element& constraint) {
  std::vector<std::string> names;
  for (const Element& set : constraint.Children("resource_set")) {
    for (const Element& reference : set.Children("resource_ref")) names.push_back(reference.id());
  }
  return names;
}

}  // namespace

std::vector<Resource> Resources(const Cib& cib) {
  const std::string node_count = std::to_string(cib.NodeNames().size());
  std::vector<Resource> resources;
  for (const Element& element : cib.section("resources").Children()) {
    Resource resource{.id = element.id(), .primitive = element.id()};
    Element primitive = element;
    if (element.name() != "primitive") {
      resource.kind =
          element.name() == "master" ? Resource::Kind::kMasterSlave : Resource::Kind::kClone;
      primitive = element.Child("primitive");
      resource.primitive = primitive.id();
      const std::string most = Meta(element, primitive, "clone-max");
      resource.instances = atoi((most.empty() ? node_count : most).c_str());
    }
    resource.managed = Meta(element, primitive, "is-managed") != "false";
    resource.target_role = Meta(element, primitive, "target-role");
    resource.migration_threshold = atoi(Meta(element, primitive, "migration-threshold").c_str());
    resources.push_back(std::move(resource));
  }
  return resources;
}

const Resource* FindResource(const std::vector<Resource>& resources, const std::string& name) {
  const std::string base = name.substr(0, name.rfind(':'));
  const auto found = std::ranges::find_if(resources, [&](const Resource& resource) {
    return resource.id == base || resource.primitive == base;
  });
  return found == resources.end() ? nullptr : &*found;
}

std::vector<std::vector<std::string>> Chains(const Cib& cib) {
  std::vector<std::string> starts;
  for (const Element& order : cib.section("constraints").Children("rsc_order")) {
    std::ranges::copy(References(order), std::back_inserter(starts));
  }
  std::vector<std::vector<std::string>> chains;
  for (const Element& colocation : cib.section("constraints").Children("rsc_colocation")) {
    std::vector<std::string> chain = References(colocation);
    std::ranges::stable_sort(chain, {}, [&](const std::string& name) {
      return std::ranges::find(starts, name) - starts.begin();
    });
    chains.push_back(std::move(chain));
  }
  return chains;
}

}  // namespace simcluster
