#include <tavohacore/conf.h>
#include <tavohacore/state.h>

#include <cerrno>

#include "frame/boost.h"
#include "frame/host_name.h"
#include "frame/log.h"

namespace {

constexpr char kLogModule[] = "conf";

int GetHostName(HA_CONF_TYPE type, char* buffer, unsigned size) {
  if (TAVOHAGetConf(type, 0, buffer, static_cast<int>(size)) != 0) {
    HA_LOG(ERROR, "Failed to get host from conf.");
    return -1;
  }
  return 0;
}

}  // namespace

int TAVOHAGetHAHostname(char* buffer, unsigned int size) {
  const frame::PriorityBoost boost;
  if (buffer == nullptr || size == 0) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  return GetHostName(HA_CONF_HA_HOSTNAME, buffer, size);
}

int TAVOHASetHAHostname(const char* name) {
  const frame::PriorityBoost boost;
  if (name == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHASetConf(HA_CONF_HA_HOSTNAME, 0, name) != 0) {
    HA_LOG(ERROR, "Failed to set host to conf");
    return -1;
  }
  return 0;
}

int TAVOHAGetOriginalHostname(char* buffer, unsigned int size, BOOL local) {
  const frame::PriorityBoost boost;
  if (size < kHostNameSize) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHAIsRunning() != 0) {
    return GetHostName(local != 0 ? HA_CONF_HOST_LOCAL : HA_CONF_HOST_REMOTE, buffer, size);
  }
  if (HATAVOLnxGetHostname(buffer) == -1) {
    HA_LOG_WITH_RECORD("Failed to get hostname.");
    return -1;
  }
  return 0;
}

int HAGetHeartbeatIF(char* buffer, int size) {
  if (buffer == nullptr || size < 1) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHAGetConf(HA_CONF_DRBD_IF, 0, buffer, size) != 0) {
    HA_LOG(ERROR, "Failed to get heartbeat interface.");
    return -1;
  }
  return 0;
}

int TAVOHAGetHeartbeatIF(char* buffer, int size) {
  const frame::PriorityBoost boost;
  return HAGetHeartbeatIF(buffer, size);
}
