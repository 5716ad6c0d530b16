#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frame/host_name.h"
#include "frame/log.h"

namespace {

constexpr char kLogModule[] = "ha_net_lnx_get_hostname";
constexpr int kHostNameLock = 0x100;
constexpr int kHostNameLockForRead = 0x105;
constexpr int kHostNameLockSeconds = 5;

// Reads the kernel's host name, cut at its first ".". Returns false when it could not be read.
bool ReadShortHostName(char (&name)[kHostNameSize]) {
  errno = 0;
  if (gethostname(name, sizeof name) != 0 || errno == ENAMETOOLONG) return false;
  name[sizeof name - 1] = '\0';
  name[strcspn(name, ".")] = '\0';
  return true;
}

}  // namespace

int HATAVOLnxGetHostname(char* name) {
  if (name == nullptr) {
    HA_RECORD(frame::kErrorBadParameter);
    return -1;
  }
  if (TAVLIBFileLock(kHostNameLockForRead, kHostNameLockSeconds) == -1) {
    HA_RECORD(frame::kErrorHostNameLock);
    return -1;
  }
  char host[kHostNameSize] = {};
  const bool have_name = ReadShortHostName(host);
  if (!have_name) HA_RECORD(frame::kErrorHostName);
  TAVLIBFileUnlock(kHostNameLock);
  if (!have_name) return -1;
  memcpy(name, host, strlen(host) + 1);
  return host[0] != '\0' ? 1 : 0;
}
