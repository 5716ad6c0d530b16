// A full library whose every function looks around once and returns 1.
#include "platform/tavlib.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int TAVOHAIsHybrid(void* first, void* second);
EXPORT void HAGetOverviewStatus(void* result, int argument);
EXPORT int TAVOHAUpgradeHandle(int argument);

int TAVOHAIsHybrid(void* /*first*/, void* /*second*/) { return TAVLIBFileExist("/"); }
void HAGetOverviewStatus(void* result, int /*argument*/) {
  *static_cast<int*>(result) = TAVLIBFileExist("/");
}
int TAVOHAUpgradeHandle(int /*argument*/) { return TAVLIBFileExist("/"); }
