// What the bridge loads in place of the full library: tells what reached it.
#include <stdexcept>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int TAVOHAIsHybrid(void* first, void* second);
EXPORT void HAGetOverviewStatus(void* status, int value);
EXPORT int TAVOHAUpgradeHandle(int argument);

int TAVOHAIsHybrid(void* first, void* second) {
  return static_cast<int>(static_cast<char*>(first) - static_cast<char*>(second));
}

void HAGetOverviewStatus(void* status, int value) { *static_cast<int*>(status) = value; }

#ifndef OLD
int TAVOHAUpgradeHandle(int argument) {
  if (argument == 0) throw std::runtime_error("nothing to upgrade");
  return argument;
}
#endif
