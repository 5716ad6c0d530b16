// The library virtual_time: LD_PRELOAD it, and a program's pauses pass at once. Each is noted, as
// seconds with nine decimals on a line of its own, in the file that VIRTUAL_TIME_LOG names.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "simcluster/root/descriptor.h"
#include "simcluster/time/virtual_time.h"

namespace {

void NotePause(std::chrono::nanoseconds length) {
  const char* path = getenv("VIRTUAL_TIME_LOG");
  if (path == nullptr) return;
  const simcluster::Descriptor log(open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  const auto seconds = std::chrono::floor<std::chrono::seconds>(length);
  // One write a line: several processes share the file.
  dprintf(log.get(), "%lld.%09lld\n", static_cast<long long>(seconds.count()),
          static_cast<long long>((length - seconds).count()));
}

[[maybe_unused]] const bool virtual_from_the_start = [] {
  simcluster::SetPauseHandler(NotePause);
  return true;
}();

}  // namespace
