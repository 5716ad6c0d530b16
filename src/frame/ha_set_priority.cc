#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "frame/log.h"
#include "frame/process_priority.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ha_set_priority";
constexpr int kBestEffortClass = 2;

// Writes the number to the file. A file that could be opened counts as written: whether the kernel
// then lets this process have the value is not this operation's to judge.
bool WriteNumber(const char* path, int number) {
  if (number == TAVOHA_PRIORITY_NOT_SET) {
    HA_RECORD(frame::kErrorBadParameter);
    return false;
  }
  const platform::UniqueFd file(open(path, O_WRONLY | O_TRUNC | O_CLOEXEC));
  if (!file) return false;
  char text[16];
  const int length = HASnprintf(text, sizeof text, "%d\n", number);
  [[maybe_unused]] const ssize_t written =
      platform::RetryOnSignal([&] { return write(file.get(), text, static_cast<size_t>(length)); });
  return true;
}

}  // namespace

void TAVOHASetPriority(int nice, int ioPriority, int oomScoreAdj, int oomAdj) {
  setpriority(PRIO_PROCESS, 0, nice);

  if ((ioPriority >> frame::kIoPriorityClassShift) == 0) {
    ioPriority |= kBestEffortClass << frame::kIoPriorityClassShift;
  }
  syscall(SYS_ioprio_set, frame::kIoPriorityOfProcess, getpid(), ioPriority);

  if (WriteNumber(frame::kOomScoreAdjFile, oomScoreAdj)) return;
  if (WriteNumber(frame::kOomAdjFile, oomAdj)) return;
  HA_RECORD(frame::kErrorWrite);
}
