#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <tavohacore/conf.h>
#include <tavohacore/crm.h>
#include <tavohacore/state.h>

#include <cerrno>
#include <cstring>

#include "conf/keys.h"
#include "frame/boost.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "conf";

// One interface's entry in ha.conf.
struct Interface {
  const char* name;
  HA_IF_NAME_INFO info;
};

bool ParseInterface(const char* name, Interface* interface) {
  *interface = {name, {}};
  if (HAGetInterfaceTypeAndIndex(name, interface->info) == -1) {
    HA_LOG(ERROR, "Failed to parse interface %s", name);
    return false;
  }
  return true;
}

bool ReadAttribute(const Interface& interface, int attribute, const char* what, char* buffer,
                   int size) {
  memset(buffer, 0, static_cast<size_t>(size));
  const HA_CONF_TYPE type = conf::InterfaceType(interface.info, attribute);
  if (TAVOHAGetConf(type, interface.info.index, buffer, size) != 0) {
    HA_LOG(ERROR, "Failed to get %s from conf. [%s] %d.", what, interface.name,
           interface.info.index);
    return false;
  }
  return true;
}

// Whatever can be written is: the address that is then restarted takes what there is.
void WriteAttribute(const Interface& interface, int attribute, const char* value) {
  const HA_CONF_TYPE type = conf::InterfaceType(interface.info, attribute);
  if (TAVOHASetConf(type, interface.info.index, value) != 0) {
    HA_LOG(ERROR, "Failed to set config:%d. idx:%d.", type, interface.info.index);
  }
}

// Asks the kernel for the MAC address of data port `index`.
int ReadHardwareMac(unsigned index, char* buffer, unsigned size) {
  ifreq request{};
  HASnprintf(request.ifr_name, sizeof request.ifr_name, "ovs_eth%u", index);
  const platform::UniqueFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) return -1;
  if (ioctl(socket.get(), SIOCGIFHWADDR, &request) == -1) {
    HA_LOG(ERROR, "Failed to get original mac: %s. %s", request.ifr_name, strerror(errno));
    return -1;
  }
  unsigned char mac[6];
  memcpy(mac, request.ifr_hwaddr.sa_data, sizeof mac);
  HASnprintf(buffer, size, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
             mac[5]);
  return 0;
}

}  // namespace

int TAVOHAGetIFMain(char* buffer, int size) {
  const frame::PriorityBoost boost;
  if (buffer == nullptr || size < 1) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHAIsRunning() == 0) return -1;
  memset(buffer, 0, static_cast<size_t>(size));
  return TAVOHAGetConf(HA_CONF_HA_IF_MAIN, 0, buffer, size);
}

int TAVOHAGetIFConfInfo(const char* ifname, char* address, int addressSize, char* netmask,
                        int netmaskSize, BOOL* enabled) {
  const frame::PriorityBoost boost;
  if (ifname == nullptr || address == nullptr || addressSize < 1 || netmask == nullptr ||
      netmaskSize < 1 || enabled == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHAIsRunning() == 0) return -1;
  Interface interface;
  char flag[conf::kValueSize];
  if (!ParseInterface(ifname, &interface) ||
      !ReadAttribute(interface, HA_CONF_IF_ATTR_ADDRESS, "ip", address, addressSize) ||
      !ReadAttribute(interface, HA_CONF_IF_ATTR_NETMASK, "netmask", netmask, netmaskSize) ||
      !ReadAttribute(interface, HA_CONF_IF_ATTR_ENABLED, "if enabled", flag, sizeof flag)) {
    return -1;
  }
  *enabled = strcmp(flag, "true") == 0 ? 1 : 0;
  return 0;
}

int TAVOHASetIFConfInfo(const char* ifname, const char* address, const char* netmask, BOOL enable) {
  const frame::PriorityBoost boost;
  const bool enabled = enable == 1;
  if (ifname == nullptr || address == nullptr || netmask == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHAIsRunning() == 0) {
    HA_LOG(ERROR, "ha not runnign");
    return -1;
  }
  Interface interface;
  if (!ParseInterface(ifname, &interface)) return -1;
  if (enabled) {
    WriteAttribute(interface, HA_CONF_IF_ATTR_NAME, ifname);
    WriteAttribute(interface, HA_CONF_IF_ATTR_ADDRESS, address);
    WriteAttribute(interface, HA_CONF_IF_ATTR_NETMASK, netmask);
  }
  WriteAttribute(interface, HA_CONF_IF_ATTR_ENABLED, enabled ? "true" : "false");
  if (HACrmRestartIP() < 0) {
    HA_LOG(ERROR, "Failed to restart ip.");
    return -1;
  }
  return 0;
}

int TAVOHAGetMac(unsigned int index, char* buffer, unsigned int size) {
  const frame::PriorityBoost boost;
  if (buffer == nullptr || size == 0) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHAIsRunning() != 0) {
    memset(buffer, 0, size);
    if (TAVOHAGetConf(HA_CONF_HA_MAC, static_cast<int>(index), buffer, static_cast<int>(size)) ==
        0) {
      return 0;
    }
  } else {
    HA_LOG(INFO, "HA is not running");
  }
  return ReadHardwareMac(index, buffer, size);
}
