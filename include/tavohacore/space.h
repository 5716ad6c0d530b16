/// @file
/// Marker files under "/tmp/ha/" by which storage programs and resource agents coordinate. The
/// directory is not created here.
#ifndef TAVOHACORE_SPACE_H_
#define TAVOHACORE_SPACE_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

/// The DRBD role that a node plays while there is no replicated space to take one from.
enum FAKE_DRBD_ROLE TAVOHA_HELD_IN_INT {
  FAKE_DRBD_ROLE_NONE = 0,
  FAKE_DRBD_ROLE_PRIMARY = 1,    ///< "/tmp/ha/ha_fake_drbd_primary" exists
  FAKE_DRBD_ROLE_SECONDARY = 2,  ///< "/tmp/ha/ha_fake_drbd_secondary" alone exists
};

#ifndef __cplusplus
typedef enum FAKE_DRBD_ROLE FAKE_DRBD_ROLE;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// Writes anew "/tmp/ha/ha_is_expanding_space", which says that the space `value` is about to be
/// expanded or resized: section "Information", key "expandSpace". Returns 0, or -1 with a logged
/// ERROR, which is also the answer to a value with a line end or enclosed in double quotes.
TAVOHA_EXPORT int HASpaceExpandResizePre(const char* value);

#ifdef __cplusplus
}  // extern "C"

/// Sets the role to FAKE_DRBD_ROLE_PRIMARY or FAKE_DRBD_ROLE_SECONDARY. Returns 0, or -1 with a
/// logged ERROR, the role being as it was.
TAVOHA_EXPORT int HANoSpaceFakeDRBDRoleSet(FAKE_DRBD_ROLE role);

/// Returns the role. When both markers exist, it is FAKE_DRBD_ROLE_PRIMARY.
TAVOHA_EXPORT FAKE_DRBD_ROLE HANoSpaceFakeDRBDRoleGet();

/// Ends the role. Returns 0 when the secondary marker was there, else -1, whether or not the
/// primary one was.
TAVOHA_EXPORT int HANoSpaceFakeDRBDRoleClear();
#endif

#endif  // TAVOHACORE_SPACE_H_
