#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>

#include "frame/log.h"
#include "frame/process_priority.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ha_get_priority";

bool ReadNumber(const char* path, int* number) {
  const platform::UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
  char text[32] = {};
  return file &&
         platform::RetryOnSignal([&] { return read(file.get(), text, sizeof text - 1); }) > 0 &&
         sscanf(text, "%d", number) == 1;
}

}  // namespace

int TAVOHAGetPriority(int* nice, int* ioPriority, int* oomScoreAdj, int* oomAdj) {
  if (nice == nullptr || ioPriority == nullptr || oomScoreAdj == nullptr || oomAdj == nullptr) {
    HA_RECORD(frame::kErrorBadParameter);
    return 0;
  }
  *nice = getpriority(PRIO_PROCESS, 0);
  *ioPriority = static_cast<int>(syscall(SYS_ioprio_get, frame::kIoPriorityOfProcess, getpid()));
  if (ReadNumber(frame::kOomScoreAdjFile, oomScoreAdj)) return 1;
  if (ReadNumber(frame::kOomAdjFile, oomAdj)) return 1;
  HA_RECORD(frame::kErrorReadOomAdjustment);
  return 0;
}
