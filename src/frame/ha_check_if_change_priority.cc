#include <fcntl.h>
#include <tavohacore/state.h>
#include <unistd.h>

#include <string_view>

#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ha_check_if_change_priority";

constexpr std::string_view kBoostedCallers[] = {
    "tavoscgi_TAVO.Storage.CGI.",
    "tavoscgi_TAVO.Core.Storage.",
};

}  // namespace

int TAVOHAChkIfChangePriority() {
  if (TAVOHAIsRunning() == 0) return 0;

  char path[64];
  HASnprintf(path, sizeof path, "/proc/%d/cmdline", getpid());
  const platform::UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
  if (!file) {
    HA_LOG(ERROR, "Failed to open %s", path);
    return 0;
  }
  char name[1024] = {};  // the process's arguments, each ended by a NUL; the first is its name
  if (platform::RetryOnSignal([&] { return read(file.get(), name, sizeof name - 1); }) <= 0) {
    HA_LOG(ERROR, "Failed to get cmdline");
    return 0;
  }
  for (const std::string_view caller : kBoostedCallers) {
    if (std::string_view(name).starts_with(caller)) return 1;
  }
  return 0;
}
