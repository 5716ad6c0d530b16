#include <fcntl.h>
#include <tavohacore/conf.h>
#include <tavohacore/crm.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>

#include "crm/tool_runner.h"
#include "crm/wait_until.h"
#include "frame/log.h"
#include "frame/pause.h"
#include "platform/handles.h"
#include "platform/safe_open.h"

namespace {

using crm::Budget;
using crm::kCibAdmin;
using crm::kCrm;
using crm::WaitUntil;
using std::chrono::seconds;

constexpr char kLogModule[] = "libcrm";

constexpr Budget kErasedBudget{.checks = 32, .pause = seconds(1)};
constexpr seconds kAfterReset(10);
constexpr Budget kLoadBudget{.checks = 3, .pause = seconds(0)};
constexpr seconds kAfterLoad(5);

// A script of the crm shell, despite its name.
constexpr char kScriptPath[] = "/tmp/crm_conf.xml";
constexpr std::string_view kScript[] = {
    "configure\n",
    "property stonith-enabled=false\n",
    "property no-quorum-policy=ignore\n",
    "rsc_defaults resource-stickiness=100\n",
    "primitive DUMMY_START ocf:tavoware:Dummy\n",
    "primitive DUMMY_END ocf:tavoware:Dummy\n",
    ("primitive SERV ocf:tavoware:ocf_wrapper_serv"
     " op start interval=\"0\" timeout=\"4800s\""
     " op stop interval=\"0\" timeout=\"600s\""
     " op monitor interval=\"30s\" timeout=\"300s\" "
     " meta migration-threshold=1\n"),
    ("primitive FS ocf:tavoware:ocf_wrapper_fs"
     " params initscript=/usr/tavo/tavoha/etc.defaults/rc.volume type=FS"
     " op start interval=\"0\" timeout=\"1200s\""
     " op stop interval=\"0\" timeout=\"600s\""
     " op monitor interval=\"30s\" timeout=\"300s\" "
     " meta migration-threshold=1\n"),
    ("primitive IP ocf:tavoware:IPaddr2"
     " op start interval=\"0\" timeout=\"1200s\""
     " op stop interval=\"0\" timeout=\"600s\""
     " op monitor interval=\"30s\" timeout=\"300s\" "
     " meta migration-threshold=1\n"),
    ("primitive CONF_SYNC_ ocf:tavoware:Confsync"
     " op monitor role=\"Master\" interval=\"29s\" timeout=\"300s\""
     " op monitor role=\"Slave\" interval=\"31s\" timeout=\"300s\" "
     " op start interval=\"0\" timeout=\"300s\""
     " op stop interval=\"0\" timeout=\"300s\""
     " op promote timeout=\"300s\" op demote timeout=\"300s\""
     " meta migration-threshold=1\n"),
    ("primitive INFO_SET_ ocf:tavoware:Infoset"
     " op monitor role=\"Master\" interval=\"29s\" timeout=\"300s\""
     " op monitor role=\"Slave\" interval=\"31s\" timeout=\"300s\" "
     " op start interval=\"0\" timeout=\"30s\""
     " op stop interval=\"0\" timeout=\"30s\""
     " op promote timeout=\"300s\" op demote timeout=\"300s\""
     " meta migration-threshold=1\n"),
    ("primitive DRBD_ ocf:tavoware:drbd"
     " params drbd_resource=drbd"
     " op monitor role=\"Master\" interval=\"29s\" timeout=\"300s\""
     " op monitor role=\"Slave\" interval=\"31s\" timeout=\"300s\" "
     " op start interval=\"0\" timeout=\"300s\""
     " op stop interval=\"0\" timeout=\"300s\""
     " op promote timeout=\"300s\" op demote timeout=\"300s\""
     " meta migration-threshold=1\n"),
    ("primitive CHECKPOINT_LAST_ ocf:tavoware:Checkpoint_last"
     " op monitor role=\"Master\" interval=\"9s\" timeout=\"300s\""
     " op monitor role=\"Slave\" interval=\"11s\" timeout=\"300s\" "
     " op start interval=\"0\" timeout=\"30s\""
     " op stop interval=\"0\" timeout=\"30s\""
     " op promote timeout=\"300s\" op demote timeout=\"300s\""
     " meta migration-threshold=1\n"),
    ("primitive PING_SERVER_ ocf:tavoware:ping"
     " params dampen=\"2s\" multiplier=\"1\" host_list=\"127.0.0.1\" name=\"ping_server\""
     " timeout=\"2\""
     " op monitor interval=\"10s\" timeout=\"300s\""
     " meta migration-threshold=1\n"),
    ("ms CONF_SYNC CONF_SYNC_"
     " meta master-max=1 master-node-max=1 clone-max=2 clone-node-max=1 notify=true\n"),
    ("ms CHECKPOINT_LAST CHECKPOINT_LAST_"
     " meta master-max=1 master-node-max=1 clone-max=2 clone-node-max=1 notify=true\n"),
    ("ms INFO_SET INFO_SET_ "
     " meta master-max=1 master-node-max=1 clone-max=2 clone-node-max=1 notify=true\n"),
    ("ms DRBD DRBD_"
     " meta master-max=1 master-node-max=1 clone-max=2 clone-node-max=1 notify=true\n"),
    "clone PING_SERVER PING_SERVER_ meta notify=true\n",
    ("colocation COLOCATION INFINITY: DUMMY_START DRBD:Master FS IP CONF_SYNC:Master SERV"
     " INFO_SET:Master CHECKPOINT_LAST:Master DUMMY_END\n"),
    ("order ORDER mandatory: DUMMY_START DRBD:promote FS:start IP CONF_SYNC:promote SERV"
     " INFO_SET:promote CHECKPOINT_LAST:promote DUMMY_END\n"),
    "commit\n",
    "exit\n",
};

// What the cluster lists once the script is loaded: sets and clones count by their primitives.
constexpr auto kPrimitiveCount = std::ranges::count_if(
    kScript, [](std::string_view line) { return line.starts_with("primitive "); });

// The script file, there for the time of a scope. What was there before is removed, not opened: a
// file, FIFO or link that another user planted would let him see or change what the cluster loads.
class ScriptFile {
 public:
  ScriptFile() = default;
  ~ScriptFile() { unlink(kScriptPath); }
  ScriptFile(const ScriptFile&) = delete;
  ScriptFile& operator=(const ScriptFile&) = delete;

  // Writes the file. Returns false with a logged ERROR when it cannot be opened. A script that is
  // not written whole is not reported: loading it will not give every resource.
  bool Write() {
    platform::UniqueFd file;
    if (unlink(kScriptPath) == 0 || errno == ENOENT) {
      file = platform::SafeOpen(kScriptPath, O_WRONLY | O_CREAT | O_EXCL, 0644);
    }
    if (!file) {
      HA_LOG(ERROR, "Failed to fopen %s: %s", kScriptPath, strerror(errno));
      return false;
    }
    for (const std::string_view line : kScript) {
      platform::RetryOnSignal([&] { return write(file.get(), line.data(), line.size()); });
    }
    return true;
  }
};

// Puts the nodes that have a host name on standby.
void StandbyNodes(const char* local, const char* remote) {
  if (remote[0] != '\0') HACrmStandby(NODE_TYPE_REMOTE);
  if (local[0] != '\0') HACrmStandby(NODE_TYPE_LOCAL);
}

// Loads the script. Returns whether the cluster then lists what it should.
bool TryLoad() {
  const int result = TAVLIBExec(kCrm, "-f", kScriptPath, nullptr, nullptr);
  if (result != 0) HA_LOG(ERROR, "Failed to init default conf: %d.", result);
  frame::Pause(kAfterLoad);
  return crm::CrmGetResourceCount() == kPrimitiveCount;
}

}  // namespace

int HACrmConfReset(BOOL full) {
  char local[kHostNameSize] = {};
  char remote[kHostNameSize] = {};
  TAVOHAGetConf(HA_CONF_HOST_LOCAL, 0, local, sizeof local);
  TAVOHAGetConf(HA_CONF_HOST_REMOTE, 0, remote, sizeof remote);

  if (full == 1) StandbyNodes(local, remote);
  TAVLIBExec(kCrm, "configure", "erase", nullptr, nullptr);
  if (full == 1) TAVLIBExec(kCibAdmin, "--erase", "--force", nullptr, nullptr);

  if (!WaitUntil(kErasedBudget, [](int) { return crm::CrmGetResourceCount() == 0; })) {
    // The last check is waited out like the others.
    frame::Pause(kErasedBudget.pause);
    HA_LOG(ERROR, "CrmGetResourceCount timeout");
  }
  if (full == 1) StandbyNodes(local, remote);
  return 0;
}

int HACrmConfInit(BOOL full) {
  HACrmConfReset(full);
  frame::Pause(kAfterReset);

  ScriptFile script;
  if (!script.Write()) {
    HA_LOG(ERROR, "Failed to prepare default conf");
    return -1;
  }
  const auto loaded = [](int) { return TryLoad(); };
  if (!WaitUntil(kLoadBudget, loaded, [] { HA_LOG(ERROR, "Retry to init default conf"); })) {
    HA_LOG(ERROR, "Failed to init default conf after retry");
    return -1;
  }
  return 0;
}
