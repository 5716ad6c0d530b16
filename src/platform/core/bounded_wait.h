// Waiting for a lock, but not for ever.
#ifndef PLATFORM_CORE_BOUNDED_WAIT_H_
#define PLATFORM_CORE_BOUNDED_WAIT_H_

#include <chrono>

namespace tavocore {

// Takes the exclusive flock of an open file. Gives up after `limit`: flock itself can only wait
// without end, and cutting it short with a signal is not for a library to do.
bool LockWithin(int fd, std::chrono::nanoseconds limit);

}  // namespace tavocore

#endif  // PLATFORM_CORE_BOUNDED_WAIT_H_
