#include <tavohacore/node.h>
#include <tavohacore/state.h>

int HAStatusGet() {
  if (TAVOHAIsRunning() == 0 || HAIsRunningCoroPace() == 0) return HA_STATUS_NOT_RUNNING;
  const int host0 = HANodeStatusGet(NODE_TYPE_HOST0);
  const int host1 = HANodeStatusGet(NODE_TYPE_HOST1);

  const auto either = [&](int status) { return host0 == status || host1 == status; };
  if (either(NODE_STATUS_STANDALONE)) return HA_STATUS_NOT_RUNNING;
  if (host0 == NODE_STATUS_ONLINE && host1 == NODE_STATUS_ONLINE) return HA_STATUS_NORMAL;
  if (either(NODE_STATUS_ERROR)) return HA_STATUS_ERROR;
  if (either(NODE_STATUS_NONE) && either(NODE_STATUS_ONLINE)) return HA_STATUS_SINGLE_NODE;
  return HA_STATUS_WARNING;
}
