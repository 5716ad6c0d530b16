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

// Opens `path` below the open directory `base` (or AT_FDCWD) without following any link on the way.
// Returns -1 with errno, ELOOP for a link.
inline int OpenWithoutLinks(int base, const char* path, int flags, mode_t mode) {
  open_how how{};
  how.flags = static_cast<unsigned>(flags);
  how.mode = (flags & O_CREAT) != 0 ? mode : 0;
  how.resolve = RESOLVE_NO_SYMLINKS;
  const long fd = RetryOnSignal([&] { return syscall(SYS_openat2, base, path, &how, sizeof how); });
  if (fd != -1 || (errno != ENOSYS && errno != EPERM)) return static_cast<int>(fd);
  // Kernels before 5.6, and sandboxes that do not know the call: guard at least the last step,
  // which is where plain names are planted.
  return RetryOnSignal([&] { return openat(base, path, flags | O_NOFOLLOW, mode); });
}

// Opens like open(2), close-on-exec, and never ends on a terminal of ours. Below /tmp no link on
// the way is followed (ELOOP): whoever can write there must not choose which file we write. /tmp
// itself may be a link, which only the machine's owner can have made.
inline UniqueFd SafeOpen(const char* path, int flags, mode_t mode = 0) {
  flags |= O_CLOEXEC;
  if ((flags & O_PATH) == 0) flags |= O_NOCTTY;  // openat2 takes no flag that means nothing
  if (!IsBelowTmp(path)) return UniqueFd(RetryOnSignal([&] { return open(path, flags, mode); }));
  UniqueFd file(OpenWithoutLinks(AT_FDCWD, path, flags, mode));
  if (file || errno != ELOOP) return file;
  char target[1];
  if (readlink("/tmp", target, sizeof target) == -1) {
    errno = ELOOP;
    return file;
  }
  const UniqueFd tmp(open("/tmp", O_PATH | O_DIRECTORY | O_CLOEXEC));
  const char* rest = path + strlen("/tmp/");
  rest += strspn(rest, "/");  // what is left must not name a place below the root
  if (tmp) file.reset(OpenWithoutLinks(tmp.get(), *rest != '\0' ? rest : ".", flags, mode));
  return file;
}

// Opens a file, creating an empty one when it is missing. In directories like /tmp the kernel may
// refuse to "create" what another user has created already, so creation is asked for only when
// there is nothing to open.
inline UniqueFd SafeOpenOrCreate(const char* path, int flags, mode_t mode) {
  UniqueFd file = SafeOpen(path, flags);
  if (file || errno != ENOENT) return file;
  file = SafeOpen(path, flags | O_CREAT, mode);
  if (file || errno != EACCES) return file;
  return SafeOpen(path, flags);
}

}  // namespace platform

#endif  // PLATFORM_SAFE_OPEN_H_
