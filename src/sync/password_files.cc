#include <fcntl.h>
#include <tavohacore/frame.h>
#include <tavohacore/sync.h>
#include <unistd.h>

#include <cstring>

#include "platform/handles.h"
#include "platform/safe_open.h"

namespace {

constexpr char kClientFile[] = "/usr/tavo/tavoha/etc/confsync/rsync.pw";
constexpr char kSecretsFile[] = "/usr/tavo/tavoha/etc/confsync/rsyncd.secrets";

// Writes `prefix` and the password into the file `path`. Returns false when they were not written
// in full.
bool WritePassword(const char* path, const char* prefix, unsigned password) {
  const platform::UniqueFd file = platform::SafeOpen(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (!file) return false;
  char text[1024] = {};
  HASnprintf(text, sizeof text, "%s%s", prefix, FormattedString("%u", password).c_str());
  const size_t length = strlen(text);
  return platform::RetryOnSignal([&] { return write(file.get(), text, length); }) ==
         static_cast<ssize_t>(length);
}

}  // namespace

int HASystemSyncGenPWFile(unsigned int password) {
  return WritePassword(kClientFile, "", password) && WritePassword(kSecretsFile, "root:", password)
             ? 0
             : -1;
}
