// The public interface of libtavohacore.so.6: everything, in one include.
//
// Calls are synchronous and short, but for the few that say how long they wait. They keep almost no
// state in memory, and never throw, print or exit. What
// goes wrong is reported by the result, and, as each function says, in the system log and in the
// platform's error record. Functions under plain names are for C and C++; the others are C++ only,
// because their names carry their parameter types.
#ifndef TAVOHACORE_H_
#define TAVOHACORE_H_

#include <tavohacore/conf.h>
#include <tavohacore/crm.h>
#include <tavohacore/dl.h>
#include <tavohacore/frame.h>
#include <tavohacore/node.h>
#include <tavohacore/peer.h>
#include <tavohacore/space.h>
#include <tavohacore/state.h>
#include <tavohacore/sync.h>
#include <tavohacore/types.h>

#endif  // TAVOHACORE_H_
