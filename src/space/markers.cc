#include <tavohacore/space.h>
#include <unistd.h>

#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "space";
constexpr char kExpandingMarker[] = "/tmp/ha/ha_is_expanding_space";
constexpr char kPrimaryMarker[] = "/tmp/ha/ha_fake_drbd_primary";
constexpr char kSecondaryMarker[] = "/tmp/ha/ha_fake_drbd_secondary";

// The new marker comes before the old one goes, so that there is a role at every moment.
bool ReplaceMarker(const char* old_marker, const char* new_marker) {
  if (TAVLIBFileTouch(new_marker) < 0) return false;
  unlink(old_marker);
  return true;
}

}  // namespace

int HASpaceExpandResizePre(const char* value) {
  if (value == nullptr || value[0] == '\0') {
    HA_LOG(ERROR, "error parameter");
    return -1;
  }
  HA_LOG(NOTICE, "HA expand space pre [%s]", value);
  unlink(kExpandingMarker);
  if (TAVLIBFileTouch(kExpandingMarker) < 0) {
    HA_LOG(ERROR, "Failed to touch file %s", kExpandingMarker);
    return -1;
  }
  platform::SzHash information;
  if (!information) {
    HA_LOG(ERROR, "Failed to alloc");
    return -1;
  }
  TAVLIBHashRemoveAll(information.get());
  if (TAVLIBSzHashSetValue(information.address(), "expandSpace", value) < 0) {
    HA_LOG(ERROR, "Failed to update hash");
  }
  if (TAVLIBFileAddSection(kExpandingMarker, "Information", information.get(), "\t%s=%s\n") < 0) {
    HA_LOG(ERROR, "Failed to add section");
    return -1;
  }
  return 0;
}

int HANoSpaceFakeDRBDRoleSet(FAKE_DRBD_ROLE role) {
  HA_LOG(NOTICE, "Set fake drbd to %d", role);
  switch (role) {
    case FAKE_DRBD_ROLE_PRIMARY:
      if (ReplaceMarker(kSecondaryMarker, kPrimaryMarker)) return 0;
      HA_LOG(ERROR, "Failed to set fake drbd primary");
      return -1;
    case FAKE_DRBD_ROLE_SECONDARY:
      if (ReplaceMarker(kPrimaryMarker, kSecondaryMarker)) return 0;
      HA_LOG(ERROR, "Failed to set fake drbd secondary");
      return -1;
    case FAKE_DRBD_ROLE_NONE:
      break;
  }
  HA_LOG(ERROR, "parameter error");
  return -1;
}

FAKE_DRBD_ROLE HANoSpaceFakeDRBDRoleGet() {
  if (TAVLIBFileExist(kPrimaryMarker) == 1) return FAKE_DRBD_ROLE_PRIMARY;
  if (TAVLIBFileExist(kSecondaryMarker) == 1) return FAKE_DRBD_ROLE_SECONDARY;
  return FAKE_DRBD_ROLE_NONE;
}

int HANoSpaceFakeDRBDRoleClear() {
  unlink(kPrimaryMarker);
  return unlink(kSecondaryMarker);
}
