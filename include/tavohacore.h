/// @file
/// The public interface of libtavohacore.so.6: everything, in one include.
///
/// The high-availability core library of a cluster of two storage appliances. One header a
/// subsystem: frame.h (logging, locks, utilities), conf.h (ha.conf), state.h (whether and how HA
/// runs here), node.h (status and roles of both nodes), crm.h (control of the cluster's resources),
/// peer.h (messages to the peer), sync.h (the sync daemon), space.h (markers of storage programs)
/// and dl.h (the full HA library).
///
/// - **Results.** Status operations return 0 for success and -1 for failure, predicates 1 or 0, and
///   questions about state a value of an enumeration; failures of those are folded into the answer.
///   Each function says what it returns.
/// - **Logs and records.** Nothing is ever thrown, printed or ended. What goes wrong is in the
///   system log, in a line with "[HA-ERROR]", or in the platform's error record, or both, as each
///   function says. A bad argument (a null pointer, a size below 1, an unknown value of an
///   enumeration) is a failure like any other.
/// - **Texts.** A size is the whole buffer's in bytes, and texts are terminated unless the function
///   says otherwise. Nothing returned is to be freed.
/// - **Time.** Calls are synchronous. One that only reads files or state does not wait. One that
///   runs a program takes as long as that program, which is never ended from here. Where a call
///   waits or tries again, the function says for how long.
/// - **Threads.** Calls from several threads at once are safe, but for dl.h and HAEnvPathInit. The
///   priority that is raised for storage web-service workers is the whole process's, for the time
///   of the call.
/// - **Names.** Functions under plain names (TAVOHA..., and HASpaceExpandResizePre) are for C and
///   C++. The others are C++ only, because their names carry their parameter types.

/// @mainpage
/// @copydetails tavohacore.h
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
