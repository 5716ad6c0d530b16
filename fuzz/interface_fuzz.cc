// An interface's name.
#include <tavohacore.h>

#include "fuzz/harness.h"

FUZZ(data) {
  const std::string name(data);
  HA_IF_NAME_INFO info{};
  const int result = HAGetInterfaceTypeAndIndex(name.c_str(), info);
  const int type = HAGetInterfaceType(name.c_str());
  fuzz::Require(type >= HA_IF_TYPE_ETH && type <= HA_IF_TYPE_UNKNOWN);
  fuzz::Require(info.type == type);
  fuzz::Require(result == -1 ||
                (type != HA_IF_TYPE_UNKNOWN && info.index > -10 && info.index < 100));
  char address[64], netmask[64];
  TAVOHAGetConfByIF(HA_CONF_IF_ATTR_ADDRESS, name.c_str(), address, sizeof address);
  TAVOHAGetRelatedIFInfo(name.c_str(), address, sizeof address, netmask, sizeof netmask);
}
