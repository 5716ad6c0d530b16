// Opening files in places where other users may plant links.
#ifndef PLATFORM_SAFE_OPEN_H_
#define PLATFORM_SAFE_OPEN_H_

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/handles.h"

namespace platform {

inline bool IsBelowTmp(const char* path) { return strncmp(path, "/tmp/", 5) == 0; }

// Opens like open(2), close-on-exec, and never ends on a terminal of ours. Below /tmp no link on
// the way is followed (ELOOP): whoever can write there must not choose which file we write.
inline UniqueFd SafeOpen(const char* path, int flags, mode_t mode = 0) {
  flags |= O_CLOEXEC | O_NOCTTY;
  if (!IsBelowTmp(path)) return UniqueFd(RetryOnSignal([&] { return open(path, flags, mode); }));

  open_how how{};
  how.flags = static_cast<unsigned>(flags);
  how.mode = (flags & O_CREAT) != 0 ? mode : 0;
  how.resolve = RESOLVE_NO_SYMLINKS;
  const long fd =
      RetryOnSignal([&] { return syscall(SYS_openat2, AT_FDCWD, path, &how, sizeof how); });
  if (fd != -1 || errno != ENOSYS) return UniqueFd(static_cast<int>(fd));
  // Kernels before 5.6: guard at least the last step, which is where plain names are planted.
  return UniqueFd(RetryOnSignal([&] { return open(path, flags | O_NOFOLLOW, mode); }));
}

}  // namespace platform

#endif  // PLATFORM_SAFE_OPEN_H_
