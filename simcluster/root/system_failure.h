// A system call that failed, as an exception that says why.
#ifndef SIMCLUSTER_ROOT_SYSTEM_FAILURE_H_
#define SIMCLUSTER_ROOT_SYSTEM_FAILURE_H_

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace simcluster {

// Throws what failed with the text of errno.
[[noreturn]] inline void Throw(const std::string& what) {
  throw std::runtime_error(what + ": " + strerror(errno));
}

}  // namespace simcluster

#endif  // SIMCLUSTER_ROOT_SYSTEM_FAILURE_H_
