// What the bridge loads in place of the full library: tells what reached it.
#include <sys/resource.h>

#include <stdexcept>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int TAVOHAIsHybrid(void* first, void* second);
EXPORT void HAGetOverviewStatus(void* nice, int plus);
EXPORT int TAVOHAUpgradeHandle(int argument);

int TAVOHAIsHybrid(void* first, void* second) {
  return static_cast<int>(static_cast<char*>(first) - static_cast<char*>(second));
}

void HAGetOverviewStatus(void* nice, int plus) {
  *static_cast<int*>(nice) = getpriority(PRIO_PROCESS, 0) + plus;
}

#ifndef OLD
int TAVOHAUpgradeHandle(int argument) {
  if (argument == 0) throw std::runtime_error("nothing to upgrade");
  return argument;
}
#endif
