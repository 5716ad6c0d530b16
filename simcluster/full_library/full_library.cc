// Stands in for the full HA library: the three functions that are called through the core library,
// with answers that show what they were given.
#include <cstdio>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int TAVOHAIsHybrid(void* first, void* second);
EXPORT void HAGetOverviewStatus(void* text, int size);
EXPORT int TAVOHAUpgradeHandle(int step);

// How many of the two were given.
int TAVOHAIsHybrid(void* first, void* second) {
  return (first != nullptr ? 1 : 0) + (second != nullptr ? 1 : 0);
}

void HAGetOverviewStatus(void* text, int size) {
  if (text != nullptr && size > 0) {
    snprintf(static_cast<char*>(text), static_cast<size_t>(size), "simulated");
  }
}

int TAVOHAUpgradeHandle(int step) { return step; }
