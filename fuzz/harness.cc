#include "fuzz/harness.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "platform/tavlib.h"
#include "simcluster/root/descriptor.h"
#include "simcluster/root/private_root.h"
#include "simcluster/time/virtual_time.h"

namespace fuzz {
namespace {

std::string_view tool_output;
int tool_status;

}  // namespace

void SetToolAnswer(std::string_view output, int wait_status) {
  tool_output = output;
  tool_status = wait_status;
}

void WriteFile(const char* path, std::string_view content) {
  const simcluster::Descriptor file(open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  Require(write(file.get(), content.data(), content.size()) ==
          static_cast<ssize_t>(content.size()));
}

std::string ReadFile(const char* path) {
  const simcluster::Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
  std::string text;
  char block[4096];
  for (ssize_t length; (length = read(file.get(), block, sizeof block)) > 0;) {
    text.append(block, static_cast<size_t>(length));
  }
  return text;
}

}  // namespace fuzz

// The system log, without a logger: what is logged is formatted all the same.
void vsyslog(int, const char* format, va_list arguments) {
  char line[8192];
  vsnprintf(line, sizeof line, format, arguments);
}

// The platform's way to run programs, without programs.
int TAVLIBExec(const char*, const char*, const char*, const char*, const char*) { return 0; }
int TAVLIBExecl(const char*, int, const char*, ...) { return 0; }
int TAVLIBExecv(const char*, const char* const[], int) { return 0; }

FILE* TAVLIBPopen(const char*, const char*, ...) {
  static std::string_view rest;
  rest = fuzz::tool_output;
  cookie_read_function_t* const read_rest = [](void*, char* buffer, size_t size) {
    const size_t length = rest.copy(buffer, size);
    rest.remove_prefix(length);
    return static_cast<ssize_t>(length);
  };
  return fopencookie(nullptr, "r",
                     {.read = read_rest, .write = nullptr, .seek = nullptr, .close = nullptr});
}

int TAVLIBPclose(FILE* stream) {
  fclose(stream);
  return fuzz::tool_status;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const simcluster::Error error = simcluster::EnterPrivateRoot(
      {.host_name = "nas-a", .visible = {SOURCE_DIRECTORY, BUILD_DIRECTORY}});
  if (!error.empty()) {
    fprintf(stderr, "%s\n", error.c_str());
    exit(2);
  }
  simcluster::SetPauseHandler([](std::chrono::nanoseconds) {});
  mkdir("/tmp/ha", 0755);
  mkdir("/run/ha", 0755);
  const std::string id = std::to_string(getpid());
  for (const char* path : {"/usr/tavo/tavoha/var/run/corosync.pid",
                           "/usr/tavo/tavoha/var/run/pacemaker.pid", "/run/ha/lsyncd.pid"}) {
    fuzz::WriteFile(path, id);
  }
  fuzz::WriteFile("/tmp/.ha.running", "");
  for (const char* path : {"/usr/tavo/tavoha/etc/ha.conf", "/tmp/.ha.conf"}) {
    fuzz::WriteFile(path, "host0=\"nas-a\"\nhost1=\"nas-b\"\n");
  }
  return 0;
}
