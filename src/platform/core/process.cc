#include "platform/process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/core/record.h"

namespace {

constexpr char kModule[] = "process";

// Runs a program to its end.
int Run(const char* path, const char* const argv[]) {
  platform::Process process;
  if (!process.Start(path, argv, environ)) {
    TAVLIB_RECORD(kErrorProcess);
    return -1;
  }
  const int status = process.Wait();
  if (status == -1) {
    TAVLIB_RECORD(kErrorProcess);
    return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Returns the arguments of a program as a vector: its path, `first` and what `rest` holds, up to
// and with the first null.
std::vector<const char*> ArgumentVector(const char* path, const char* first, va_list rest) {
  std::vector<const char*> argv = {path};
  for (const char* arg = first; arg != nullptr; arg = va_arg(rest, const char*)) {
    argv.push_back(arg);
  }
  argv.push_back(nullptr);
  return argv;
}

// A program whose output a stream reads. Open ones are linked, so that closing a stream finds its
// program.
struct Reader {
  platform::Process process;
  platform::UniqueFd output;
  FILE* stream = nullptr;
  Reader* next = nullptr;
};

constinit std::mutex readers_mutex;
constinit Reader* readers = nullptr;

std::unique_ptr<Reader> TakeReader(FILE* stream) {
  const std::lock_guard lock(readers_mutex);
  for (Reader** link = &readers; *link != nullptr; link = &(*link)->next) {
    if ((*link)->stream == stream)
      return std::unique_ptr<Reader>(std::exchange(*link, (*link)->next));
  }
  return nullptr;
}

ssize_t ReadOutput(void* cookie, char* buffer, size_t size) {
  const platform::UniqueFd& output = static_cast<Reader*>(cookie)->output;
  return platform::RetryOnSignal([&] { return read(output.get(), buffer, size); });
}

// Starts the program. Returns null with errno when that fails.
FILE* OpenReader(const std::vector<const char*>& argv) {
  auto reader = std::make_unique<Reader>();
  // A stream of our own reads: one over the descriptor would end at the first signal.
  reader->stream = fopencookie(
      reader.get(), "r", {.read = ReadOutput, .write = nullptr, .seek = nullptr, .close = nullptr});
  if (reader->stream == nullptr) return nullptr;
  if (!reader->process.Start(argv[0], argv.data(), environ, &reader->output)) {
    const platform::ErrnoKeeper keeper;
    fclose(reader->stream);
    return nullptr;
  }
  const std::lock_guard lock(readers_mutex);
  reader->next = std::exchange(readers, reader.get());
  return reader.release()->stream;
}

}  // namespace

int TAVLIBExec(const char* path, const char* arg1, const char* arg2, const char* arg3,
               const char* arg4) {
  if (path == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  const char* const argv[] = {path, arg1, arg2, arg3, arg4, nullptr};
  return Run(path, argv);
}

int TAVLIBExecl(const char* path, int /*options*/, const char* arg, ...) {
  if (path == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  va_list rest;
  va_start(rest, arg);
  const int result = tavocore::Contain(
      kModule, -1, [&] { return Run(path, ArgumentVector(path, arg, rest).data()); });
  va_end(rest);
  return result;
}

int TAVLIBExecv(const char* path, const char* const argv[], int wait) {
  if (path == nullptr || argv == nullptr || argv[0] == nullptr || wait != 1) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return Run(path, argv);
}

FILE* TAVLIBPopen(const char* path, const char* mode, ...) {
  if (path == nullptr || mode == nullptr || strcmp(mode, "r") != 0) {
    TAVLIB_RECORD(kErrorBadParameter);
    errno = EINVAL;
    return nullptr;
  }
  va_list args;
  va_start(args, mode);
  FILE* const stream = tavocore::Contain(kModule, static_cast<FILE*>(nullptr), [&] {
    const char* const first = va_arg(args, const char*);
    FILE* const opened = OpenReader(ArgumentVector(path, first, args));
    if (opened == nullptr) TAVLIB_RECORD(kErrorProcess);
    return opened;
  });
  va_end(args);
  return stream;
}

int TAVLIBPclose(FILE* stream) {
  const std::unique_ptr<Reader> reader = TakeReader(stream);
  if (reader == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  // The pipe goes first: a program that still writes learns that nobody reads, and ends.
  reader->output.reset();
  fclose(stream);
  const int status = reader->process.Wait();
  if (status == -1) TAVLIB_RECORD(kErrorProcess);
  return status;
}
