#include <tavohacore/state.h>

#include "frame/boost.h"
#include "frame/log.h"
#include "platform/tavlib.h"

namespace {

constexpr char kLogModule[] = "ha";

constexpr char kRunningMarker[] = "/tmp/.ha.running";
constexpr char kNotRunningMarker[] = "/tmp/.ha.not.running";
constexpr char kRoleActiveMarker[] = "/tmp/ha_role_active";
constexpr char kUpgradeMarker[] = "/var/lib/ha/ha.upg";
constexpr char kSafemodeMarker[] = "/var/lib/ha/ha.safemode.info";
constexpr char kPlatformDefaults[] = "/etc.defaults/tavoinfo.conf";
constexpr char kPlatformSettings[] = "/etc/tavoinfo.conf";
constexpr char kCorosyncPidFile[] = "/usr/tavo/tavoha/var/run/corosync.pid";
constexpr char kPacemakerPidFile[] = "/usr/tavo/tavoha/var/run/pacemaker.pid";
constexpr char kControlScript[] = "/usr/tavo/tavoha/etc.defaults/rc.ha";

bool IsSwitchedOn() {
  return TAVLIBFileCheckKeyValue(kPlatformDefaults, "support_ha", "yes", 0) == 1 &&
         TAVLIBFileCheckKeyValue(kPlatformSettings, "runha", "yes", 0) == 1;
}

}  // namespace

int TAVOHAIsRunning() {
  if (TAVLIBFileExist(kRunningMarker) == 1) return 1;
  if (TAVLIBFileExist(kNotRunningMarker) == 1) return 0;
  if (IsSwitchedOn()) return 1;
  // Later calls then need not read the settings again.
  TAVLIBFileTouch(kNotRunningMarker);
  return 0;
}

int TAVOHAIsActive() {
  return TAVOHAIsRunning() == 1 && TAVLIBFileExist(kRoleActiveMarker) == 1 ? 1 : 0;
}

bool CrsyncIsRunning() { return TAVLIBProcAliveByPidFile(kCorosyncPidFile) == 1; }

BOOL PcmkIsRunning() { return TAVLIBProcAliveByPidFile(kPacemakerPidFile) == 1 ? 1 : 0; }

BOOL HAIsRunningCoroPace() {
  const int corosync = CrsyncIsRunning() ? 1 : 0;
  const int pacemaker = PcmkIsRunning();
  if (corosync != pacemaker) {
    HA_LOG(ERROR, "ERROR. corosync:%d. pcmk:%d.", corosync, pacemaker);
  }
  return corosync != 0 && pacemaker != 0 ? 1 : 0;
}

int HAIsUpgrading() { return TAVLIBFileExist(kUpgradeMarker); }

int TAVOHAIsSafemode() {
  const frame::PriorityBoost boost;
  return TAVLIBFileExist(kSafemodeMarker);
}

int TAVOHAStop() {
  if (TAVOHAIsRunning() == 0) return -1;
  return TAVLIBExec(kControlScript, "stop", nullptr, nullptr, nullptr);
}
