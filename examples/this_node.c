// How does HA run on this node, and under which addresses does the cluster serve?
//
//   this_node && echo "this node serves"
//
// Exit status: 0 when this node is active, 1 when it is not, 2 when HA does not run.
#include <stdio.h>
#include <tavohacore.h>

static const char* RoleWord(int role) {
  switch (role) {
    case NODE_ROLE_ACTIVE:
      return "active";
    case NODE_ROLE_PASSIVE:
      return "passive";
    case NODE_ROLE_NOT_READY:
      return "not ready";
    case NODE_ROLE_ACTIVE_PARTIAL:
      return "becoming active";
    case NODE_ROLE_SAFEMODE:
      return "in safe mode";
    default:
      return "without a role";
  }
}

int main(void) {
  if (TAVOHAIsRunning() != 1) {
    puts("HA does not run");
    return 2;
  }
  const int role = TAVOHANodeRoleGet();
  char cluster[64] = "?";
  TAVOHAGetHAHostname(cluster, sizeof cluster);  // a failure leaves "?", and is in the system log
  printf("%s: this node is %s\n", cluster, RoleWord(role));

  HA_NET_INFO addresses[HA_NET_INFO_COUNT];
  const int count = TAVOHAGetHANetinfo(addresses, HA_NET_INFO_COUNT);
  for (int i = 0; i < count; ++i) {
    printf("%s  %s/%s\n", addresses[i].ifName, addresses[i].ip, addresses[i].netmask);
  }
  return role == NODE_ROLE_ACTIVE ? 0 : 1;
}
