// Making pauses pass at once: clock_nanosleep and clock_gettime(CLOCK_MONOTONIC) as a program that
// has this object file in it, or the preloaded library virtual_time, lets its shared libraries
// see them.
#ifndef SIMCLUSTER_TIME_VIRTUAL_TIME_H_
#define SIMCLUSTER_TIME_VIRTUAL_TIME_H_

#include <chrono>

namespace simcluster {

// Called in place of a pause, in the thread that pauses.
using PauseHandler = void (*)(std::chrono::nanoseconds length);

// From now on the clock stands still and only pauses move it, each by exactly its length: they call
// the handler and return at once, in every thread. With null, clock and pauses are the kernel's
// again.
void SetPauseHandler(PauseHandler handler);

}  // namespace simcluster

#endif  // SIMCLUSTER_TIME_VIRTUAL_TIME_H_
