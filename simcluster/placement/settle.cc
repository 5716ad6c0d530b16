#include "simcluster/placement/settle.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "simcluster/cib/cib_file.h"
#include "simcluster/cib/resources.h"
#include "simcluster/placement/placement.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

constexpr char kDue[] = "transition-due";

// What a transition changes.
struct Picture {
  Placement placement{};
  std::set<std::string> standby{};

  bool operator==(const Picture&) const = default;
};

Picture Recorded(const Cib& cib) {
  Picture picture{.placement = RecordedPlacement(cib)};
  for (const Element& state : cib.status().Children("node_state")) {
    if (state.Get("standby") == "true") picture.standby.insert(state.id());
  }
  return picture;
}

Picture Wanted(const ClusterState& state, const Cib& cib) {
  std::set<std::string> online;
  for (const ClusterState::Node& node : state.nodes) {
    if (node.Condition().runs_resources) online.insert(node.name);
  }
  Picture picture{.placement = Place(cib, online)};
  std::erase_if(picture.placement, [](const auto& node) { return node.second.empty(); });
  for (const std::string& node : cib.NodeNames()) {
    if (cib.IsStandby(node)) picture.standby.insert(node);
  }
  return picture;
}

void Record(const Picture& picture, const Cib& cib) {
  RecordPlacement(picture.placement, cib);
  for (const Element& state : cib.status().Children("node_state")) {
    state.Set("standby", picture.standby.contains(state.id()) ? "true" : "false");
  }
}

// Whether the last resource of a colocation runs on the node, and so all of them do.
bool IsActive(const Cib& cib, const std::string& host) {
  const Placement placement = RecordedPlacement(cib);
  const auto running = placement.find(host);
  if (running == placement.end()) return false;
  return std::ranges::any_of(Chains(cib), [&](const std::vector<std::string>& chain) {
    return !chain.empty() && running->second.contains(chain.back());
  });
}

void MarkActiveNode(const std::string& directory, const Cib& cib) {
  for (const std::string& host : cib.NodeNames()) {
    const std::string path = ActiveMarkerPath(directory, host);
    if (!IsActive(cib, host)) {
      fs::remove(path);
    } else if (!fs::exists(path)) {
      fs::create_directories(fs::path(path).parent_path());
      if (!std::ofstream(path)) throw std::runtime_error("cannot create " + path);
    }
  }
}

std::chrono::nanoseconds Now(const std::string& directory) {
  std::chrono::duration<double> time = std::chrono::system_clock::now().time_since_epoch();
  std::ifstream pauses(PausesPath(directory));
  for (double pause = 0; pauses >> pause;) time += std::chrono::duration<double>(pause);
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time);
}

}  // namespace

void Settle(const ClusterState& state, std::chrono::nanoseconds now, const Cib& cib) {
  for (const ClusterState::Node& node : state.nodes) {
    if (node.Condition().is_managing) cib.AddNode(node.name);
    if (const Element seen = cib.NodeState(node.name)) {
      seen.Set("in_ccm", node.Condition().is_member ? "true" : "false");
      seen.Set("crmd", node.Condition().is_managing ? "online" : "offline");
    }
  }
  const Picture wanted = Wanted(state, cib);
  if (wanted == Recorded(cib)) return cib.status().Unset(kDue);
  if (state.slow_seconds > 0) {
    const std::string due = cib.status().Get(kDue);
    if (due.empty()) {
      const std::chrono::nanoseconds at = now + std::chrono::seconds(state.slow_seconds);
      cib.status().Set(kDue, std::to_string(at.count()));
    }
    if (due.empty() || now.count() < std::stoll(due)) return;
  }
  Record(wanted, cib);
  cib.status().Unset(kDue);
}

std::string StatusWords(const ClusterState& state, const Cib& cib, const std::string& host) {
  const Element seen = cib.NodeState(host);
  const std::string words = state.Find(host) ? state.Find(host)->Condition().words : "OFFLINE";
  return seen && seen.Get("standby") == "true" ? words + " STANDBY" : words;
}

void OnSettledCluster(const std::string& directory,
                      const std::function<void(const ClusterState& state, const Cib& cib)>& work) {
  ChangeCib(directory, [&](Cib* cib) {
    const std::chrono::nanoseconds now = Now(directory);
    const ClusterState state = ClusterState::Read(directory);
    Settle(state, now, *cib);
    work(state, *cib);
    Settle(ClusterState::Read(directory), now, *cib);
    MarkActiveNode(directory, *cib);
  });
}

std::string PausesPath(const std::string& directory) { return directory + "/pauses"; }

std::string ActiveMarkerPath(const std::string& directory, const std::string& host) {
  return directory + "/active/" + host;
}

}  // namespace simcluster
