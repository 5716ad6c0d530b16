#include <unistd.h>

#include <cstring>

#include "frame/log.h"

namespace {

constexpr char kLogModule[] = "proc";
constexpr char kTaskRunner[] = "/tmp/tavoschedtask";

}  // namespace

int TAVOHAIsRunByTavoschedtask() {
  char parent[1024] = {};
  if (HAProcNameGetByPid(getppid(), parent, sizeof parent) == -1) {
    HA_LOG(ERROR, "Failed to get parent name by ppid");
    return 0;
  }
  return memcmp(parent, kTaskRunner, sizeof kTaskRunner) == 0 ? 1 : 0;
}
