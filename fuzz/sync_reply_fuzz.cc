// What the sync daemon answers.
#include <fcntl.h>
#include <sys/stat.h>
#include <tavohacore.h>
#include <unistd.h>

#include "fuzz/harness.h"

namespace {

constexpr size_t kRoom = 65536;  // in the FIFO
std::string_view reply;          // for the next command

// The daemon's ends of the channel.
int OpenEnd(const char* path) {
  mkfifo(path, 0600);
  return open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
}

}  // namespace

extern "C" {
ssize_t __real_write(int fd, const void* bytes, size_t size);
ssize_t __wrap_write(int fd, const void* bytes, size_t size);

// The library's write of a command byte: the daemon answers at once.
ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
  static const int data = OpenEnd("/tmp/ha.lsyncd.fifoData");
  if (size == 1 && !reply.empty()) __real_write(data, reply.data(), reply.size());
  return __real_write(fd, bytes, size);
}
}

FUZZ(data) {
  static const int commands = OpenEnd("/tmp/ha.lsyncd.fifoCmd");
  static const int first = OpenEnd("/tmp/ha.lsyncd.fifoData");
  fuzz::Require(commands != -1 && first != -1);
  if (data.empty() || data.size() > kRoom) return;
  reply = data;
  LsyncdStatus status;
  std::vector<LsyncdEvent> events;
  for (const int result : {HASystemSyncGetStatus(status), HASystemSyncGetEvents(events)}) {
    fuzz::Require(result == 0 || result == LSYNCD_ERR_LINE_TIMEOUT);
  }
  reply = {};
  for (const LsyncdEvent& event : events) {
    fuzz::Require(event.key.find(':') == std::string::npos && event.key.size() < 256);
  }
  fuzz::Require(status.states.size() + status.errorDescs.size() <= events.size());
  char drained[4096];
  while (read(commands, drained, sizeof drained) > 0) {
  }
}
