// What the file-synchronisation daemon says about itself.
#ifndef TAVOHACTL_SYNC_H_
#define TAVOHACTL_SYNC_H_

#include "command.h"

namespace tavohactl {

// Throws Failure when the daemon cannot be asked.
Json SyncRecord();

}  // namespace tavohactl

#endif  // TAVOHACTL_SYNC_H_
