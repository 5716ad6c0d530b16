#ifndef TAVOHACORE_SYNC_H_
#define TAVOHACORE_SYNC_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#endif  // TAVOHACORE_SYNC_H_
