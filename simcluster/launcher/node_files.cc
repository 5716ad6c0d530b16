#include "simcluster/launcher/node_files.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "simcluster/launcher/parts.h"
#include "simcluster/placement/settle.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

constexpr char kHaConf[] = R"(drbd_if="eth1"
drbd_ip0="169.254.1.1"
drbd_ip1="169.254.1.2"
drbd_netmask="255.255.255.252"
host0="nas-a"
host1="nas-b"
ip0="192.0.2.10"
ip1="192.0.2.11"
ha_sn="SIM0001"
ha_model="SimNAS"
ha_hostname="nas"
ha_if_main="ovs_eth0"
is_hybrid="false"
model0="SimNAS"
model1="SimNAS"
lan_num="2"
ha_if0="ovs_eth0"
ha_ip0="192.0.2.100"
ha_netmask0="255.255.255.0"
ha_if_enabled0="true"
)";

struct NodeFile {
  const char* path;
  const char* content;
};
constexpr NodeFile kFiles[] = {
    {"/usr/tavo/tavoha/etc/ha.conf", kHaConf},
    {"/usr/tavo/tavoha/etc.defaults/ha.conf", kHaConf},
    {"/etc.defaults/tavoinfo.conf", "support_ha=\"yes\"\nupnpmodelname=\"SimNAS\"\n"},
    {"/etc/tavoinfo.conf", "runha=\"yes\"\n"},
    {"/tmp/.ha.running", ""},
    {"/var/lib/ha/lsyncd/status", "running:true\nsynced:true\n"},
    {"/var/lib/ha/lsyncd/events", "/etc/passwd:modified\n/etc/group:modified\n"},
    {"/var/lib/ha/lsyncd/abandoned", "/etc/motd:no such file\n"},
};

void Write(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path);
  if (!(file << content << std::flush)) throw std::runtime_error("cannot write " + path.string());
}

// A link that takes the place of what is there.
void Link(const fs::path& target, const fs::path& link) {
  fs::create_directories(link.parent_path());
  fs::remove(link);
  fs::create_symlink(target, link);
}

}  // namespace

void PlaceTool(const std::string& shared_directory, const std::string& tool, bool there) {
  const fs::path link = fs::path(shared_directory) / "tools" / tool;
  if (there) {
    Link(Part("cluster_tool"), link);
  } else {
    fs::remove(link);
  }
}

void WriteNodeFiles(const NodeName& node) {
  for (const auto& [path, content] : kFiles) {
    Write(path, content);
  }
  for (const ClusterTool& tool : kClusterTools) {
    Link(fs::path(kSharedDirectory) / "tools" / tool.name, fs::path(tool.directory) / tool.name);
  }
  for (const NodeName& other : kNodes) {
    const bool is_own = other.host_name == node.host_name;
    Write(is_own ? "/var/lib/ha/ip.local" : "/var/lib/ha/ip.remote", other.address + "\n");
  }
  Link(Part("libtavoha.so"), "/lib/libtavoha.so");
  // There while the node is active, wherever that was noticed.
  Link(ActiveMarkerPath(kSharedDirectory, node.host_name), "/tmp/ha_role_active");
  if (TreeIsTheMachines()) return;
  for (const char* library : {"libtavocore.so.6", "libtavohacore.so.6"}) {
    Link(Part(library), fs::path("/usr/lib") / library);
  }
  Link(Part("tavohactl"), "/usr/bin/tavohactl");
}

}  // namespace simcluster
