// Running a program.
#ifndef PLATFORM_PROCESS_H_
#define PLATFORM_PROCESS_H_

#include <sys/types.h>

#include "platform/handles.h"

namespace platform {

// A program that this process started. It starts without a shell and without a copy of this
// process's memory, so the cost does not grow with the host. Its standard input is empty, its
// standard output goes where Start says, its standard error nowhere; it gets no other descriptor,
// and no blocked, ignored or handled signal.
//
// A host that has the system throw exit statuses away (by ignoring SIGCHLD) gets true ones all the
// same: for as long as a program runs, that disposition is lifted, and afterwards put back, and
// what the system would have reaped meanwhile is reaped. A host that waits for any child may take
// ours; Wait then fails, but never hangs. Each of the two libraries has its own copy of this code,
// and counts the programs that it started itself: when programs of both run at once in a host that
// ignores SIGCHLD, the end of one may take the status of the other, whose Wait then fails.
class Process {
 public:
  Process() = default;
  // Waits for the program if nobody has.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Starts the program `path` with null-terminated arguments (the first is its name) and
  // environment. With `output`, its standard output is a pipe, of which *output is the end to read
  // from; without, its output goes nowhere. Returns false with errno when it cannot be started. A
  // Process starts at most one program.
  bool Start(const char* path, const char* const argv[], char* const envp[],
             UniqueFd* output = nullptr);
  // Waits for the program to end. Returns its wait status as waitpid gives it, or -1 with errno.
  int Wait();

 private:
  pid_t pid_ = -1;
};

}  // namespace platform

#endif  // PLATFORM_PROCESS_H_
