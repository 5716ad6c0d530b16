// tavohactl ip: the service address, resource IP of the cluster.
#include <tavohacore.h>

#include "command.h"
#include "nodes.h"
#include "progress.h"

namespace tavohactl {
namespace {

Answer Managed(bool managed) {
  return {.record = {{"managed", managed}}, .text = managed ? "managed" : "unmanaged"};
}

Answer IpStatus(const CLI::App&) {
  Answer answer = Managed(HACrmIsIPUnmanaged() == 0);
  answer.yes = answer.record["managed"].get<bool>();
  return answer;
}

Answer IpManage(const CLI::App&) {
  const Progress progress("Handing the service address to the cluster manager");
  HACrmManageIP();
  if (HACrmIsIPUnmanaged() == 1) throw LibraryFailure("the service address is still unmanaged");
  return Managed(true);
}

Answer IpUnmanage(const CLI::App&) {
  const Progress progress("Taking the service address from the cluster manager");
  HACrmUnmanageIP();
  if (HACrmIsIPUnmanaged() == 0) throw LibraryFailure("the service address is still managed");
  return Managed(false);
}

Answer IpRestart(const CLI::App&) {
  const Progress progress("Restarting the service address");
  if (HACrmRestartIP() != 0) {
    throw LibraryFailure(
        "the service address could not be restarted, and stays unmanaged until \"tavohactl ip "
        "manage\"");
  }
  Answer answer = Managed(HACrmIsIPUnmanaged() == 0);
  answer.text = "the service address is restarted, and " + *answer.text;
  return answer;
}

}  // namespace

void AddIp(CommandTree* tree) {
  CLI::App* group = tree->AddGroup("ip", "The cluster's service address",
                                   "  tavohactl ip status || tavohactl ip manage\n"
                                   "  tavohactl ip restart\n");
  tree->AddCommand(group, "status", "Tell whether the cluster manager controls it",
                   OnCluster(IpStatus));
  tree->AddCommand(group, "restart", "Stop and start it behind the cluster manager's back",
                   OnCluster(IpRestart));
  tree->AddCommand(group, "manage", "Have the cluster manager control it", OnCluster(IpManage));
  tree->AddCommand(group, "unmanage", "Take it out of the cluster manager's control",
                   OnCluster(IpUnmanage));
}

}  // namespace tavohactl
