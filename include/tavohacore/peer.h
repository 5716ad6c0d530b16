#ifndef TAVOHACORE_PEER_H_
#define TAVOHACORE_PEER_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#endif  // TAVOHACORE_PEER_H_
