#include "simcluster/placement/placement.h"

#include <algorithm>
#include <vector>

#include "simcluster/cib/resources.h"

namespace simcluster {
namespace {

constexpr char kNever[] = "-INFINITY";

struct RoleName {
  Role role;
  const char* name;
};
constexpr RoleName kRoleNames[] = {
    {Role::kStarted, "Started"}, {Role::kSlave, "Slave"}, {Role::kMaster, "Master"}};

bool Runs(const Placement& placement, const std::string& node, const std::string& primitive,
          Role role) {
  const auto resources = placement.find(node);
  if (resources == placement.end()) return false;
  const auto resource = resources->second.find(primitive);
  return resource != resources->second.end() && resource->second == role;
}

// The role that a resource has in its colocation.
Role ChainRole(const Resource& resource) {
  return resource.kind == Resource::Kind::kMasterSlave ? Role::kMaster : Role::kStarted;
}

class Placer {
 public:
  Placer(const Cib& cib, const std::set<std::string>& online)
      : cib_(cib),
        online_(online),
        nodes_(cib.NodeNames()),
        resources_(Resources(cib)),
        current_(RecordedPlacement(cib)) {
    for (const Element& rule : cib.section("constraints").Children("rsc_location")) {
      if (rule.Get("score") == kNever) banned_.emplace(rule.Get("rsc"), rule.Get("node"));
    }
  }

  Placement Run() {
    for (const auto& chain : MakeChains()) PlaceChain(chain);
    for (const Resource& resource : resources_) {
      if (!resource.managed) {
        Keep(resource);
      } else if (resource.kind != Resource::Kind::kPrimitive) {
        PlaceInstances(resource);
      }
    }
    return placement_;
  }

 private:
  using Chain = std::vector<const Resource*>;

  // Each colocation is a chain, and so is each resource that stands in none.
  std::vector<Chain> MakeChains() const {
    std::vector<Chain> chains;
    std::set<const Resource*> bound;
    for (const std::vector<std::string>& names : Chains(cib_)) {
      Chain chain;
      for (const std::string& name : names) {
        const Resource* resource = FindResource(resources_, name);
        if (resource != nullptr && bound.insert(resource).second) chain.push_back(resource);
      }
      chains.push_back(chain);
    }
    for (const Resource& resource : resources_) {
      if (resource.kind != Resource::Kind::kClone && !bound.contains(&resource)) {
        chains.push_back({&resource});
      }
    }
    return chains;
  }

  bool MayRun(const Resource& resource, const std::string& node) const {
    return online_.contains(node) && !cib_.IsStandby(node) && resource.target_role != "Stopped" &&
           !banned_.contains({resource.id, node}) &&
           !banned_.contains({resource.primitive, node}) &&
           (resource.migration_threshold == 0 ||
            cib_.FailCount(node, resource.primitive) < resource.migration_threshold);
  }

  // Whether the member can do its part of the chain on the node.
  bool Serves(const Resource& member, const std::string& node) const {
    const Role role = ChainRole(member);
    if (!member.managed) return IsHeldAt(member, node);
    return MayRun(member, node) && !(role == Role::kMaster && member.target_role == "Slave");
  }

  // Whether an unmanaged member does its part of the chain on the node.
  bool IsHeldAt(const Resource& member, const std::string& node) const {
    return !member.managed && online_.contains(node) &&
           Runs(current_, node, member.primitive, ChainRole(member));
  }

  // How many members of the chain, from its first on, can run on the node.
  size_t Reach(const Chain& chain, const std::string& node) const {
    const auto stop =
        std::ranges::find_if(chain, [&](const Resource* member) { return !Serves(*member, node); });
    return static_cast<size_t>(stop - chain.begin());
  }

  // The nodes among which a chain's is chosen: the one that an unmanaged member holds it on, or
  // all.
  std::vector<std::string> Candidates(const Chain& chain) const {
    for (const std::string& node : nodes_) {
      if (std::ranges::any_of(chain, [&](const auto* member) { return IsHeldAt(*member, node); })) {
        return {node};
      }
    }
    return nodes_;
  }

  void PlaceChain(const Chain& chain) {
    if (chain.empty()) return;
    const std::string* best = nullptr;
    size_t best_reach = 0;
    bool best_is_current = false;
    const std::vector<std::string> candidates = Candidates(chain);
    for (const std::string& node : candidates) {
      const size_t reach = Reach(chain, node);
      const bool is_current =
          Runs(current_, node, chain.front()->primitive, ChainRole(*chain.front()));
      if (reach > best_reach || (reach == best_reach && is_current && !best_is_current)) {
        best = &node;
        best_reach = reach;
        best_is_current = is_current;
      }
    }
    for (size_t i = 0; i < best_reach; ++i) {
      placement_[*best][chain[i]->primitive] = ChainRole(*chain[i]);
    }
  }

  // The instances of a set or clone beside its master.
  void PlaceInstances(const Resource& resource) {
    const bool has_roles = resource.kind == Resource::Kind::kMasterSlave;
    int placed = 0;
    for (const std::string& node : nodes_) {
      if (Runs(placement_, node, resource.primitive, Role::kMaster)) ++placed;
    }
    for (const std::string& node : nodes_) {
      if (placed >= resource.instances) return;
      if (!MayRun(resource, node)) continue;
      const Role role = has_roles ? Role::kSlave : Role::kStarted;
      if (placement_[node].emplace(resource.primitive, role).second) ++placed;
    }
  }

  void Keep(const Resource& resource) {
    for (const auto& [node, roles] : current_) {
      const auto role = roles.find(resource.primitive);
      if (role != roles.end() && online_.contains(node)) {
        placement_[node][resource.primitive] = role->second;
      }
    }
  }

  const Cib& cib_;
  const std::set<std::string>& online_;
  const std::vector<std::string> nodes_;
  const std::vector<Resource> resources_;
  const Placement current_;
  std::set<std::pair<std::string, std::string>> banned_;  // a resource and the node it must avoid
  Placement placement_;
};

}  // namespace

Placement RecordedPlacement(const Cib& cib) {
  Placement placement;
  for (const Element& resource :
       cib.Find("/cib/status/node_state/lrm/lrm_resources/lrm_resource")) {
    const Element state(resource.node()->parent->parent->parent);
    const auto* known = std::ranges::find(kRoleNames, resource.Get("role"), &RoleName::name);
    if (known != std::end(kRoleNames)) placement[state.id()][resource.id()] = known->role;
  }
  return placement;
}

void RecordPlacement(const Placement& placement, const Cib& cib) {
  for (const Element& state : cib.status().Children("node_state")) {
    const Element resources =
        state.ChildOrNew("lrm", {{"id", state.id()}}).ChildOrNew("lrm_resources");
    resources.RemoveChildren();
    const auto running = placement.find(state.id());
    if (running == placement.end()) continue;
    for (const auto& [primitive, role] : running->second) {
      const auto* known = std::ranges::find(kRoleNames, role, &RoleName::role);
      resources.Add("lrm_resource", {{"id", primitive}, {"role", known->name}});
    }
  }
}

Placement Place(const Cib& cib, const std::set<std::string>& online) {
  return Placer(cib, online).Run();
}

}  // namespace simcluster
