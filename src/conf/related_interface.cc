#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <tavohacore/conf.h>
#include <tavohacore/state.h>

#include <cstring>

#include "conf/keys.h"
#include "frame/boost.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ha_get_related_if_info";
constexpr char kAliasLabel[] = "HA";

// Returns 1 when ha.conf has `ifname` enabled, 0 when it has it disabled, -1 when it does not have
// it, or cannot say.
int HAIsConfIFEnabled(const char* ifname) {
  if (TAVOHAIsRunning() == 0) {
    HA_RECORD(frame::kErrorNotAvailable);
    return -1;
  }
  if (ifname == nullptr || ifname[0] == '\0') {
    HA_RECORD(frame::kErrorBadParameter);
    return -1;
  }
  HA_IF_NAME_INFO info{};
  if (HAGetInterfaceTypeAndIndex(ifname, info) == -1) return -1;

  char recorded[conf::kValueSize] = {};
  if (TAVOHAGetConf(conf::InterfaceType(info, HA_CONF_IF_ATTR_NAME), info.index, recorded,
                    sizeof recorded) != 0) {
    HA_LOG(ERROR, "Failed to get %s enabled in ha.conf", ifname);
    return -1;
  }
  if (strcmp(recorded, ifname) != 0) {
    HA_LOG(DEBUG, "Failed to get %s in ha.conf [%s]", ifname, recorded);
    return -1;
  }
  char flag[8] = {};
  if (TAVOHAGetConf(conf::InterfaceType(info, HA_CONF_IF_ATTR_ENABLED), info.index, flag,
                    sizeof flag) != 0) {
    HA_LOG(ERROR, "Failed to get %s enabled in ha.conf", ifname);
    return -1;
  }
  return strcmp(flag, "true") == 0 ? 1 : 0;
}

// One thing to ask the kernel about an interface's address, with the words for the log.
struct AddressQuery {
  unsigned long request;
  const char* query_word;
  const char* text_word;
};
constexpr AddressQuery kAddressQuery = {SIOCGIFADDR, "addr", "ip"};
constexpr AddressQuery kNetmaskQuery = {SIOCGIFNETMASK, "mask addr", "mask"};

// Writes the kernel's answer for the cluster alias of `ifname` into `buffer`, in dotted form.
bool AskKernel(int socket, const char* ifname, const AddressQuery& query, char* buffer, int size) {
  memset(buffer, 0, static_cast<size_t>(size));
  ifreq request{};
  HASnprintf(request.ifr_name, sizeof request.ifr_name, "%s:%s", ifname, kAliasLabel);
  if (ioctl(socket, query.request, &request) == -1) {
    HA_LOG(ERROR, "ioctl %s failed - %s: %m", query.query_word, request.ifr_name);
    return false;
  }
  sockaddr_in address;
  static_assert(sizeof address <= sizeof request.ifr_addr);
  memcpy(&address, &request.ifr_addr, sizeof address);
  char text[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
  HASnprintf(buffer, static_cast<unsigned long>(size), "%s", text);
  if (buffer[0] == '\0') {
    HA_LOG(ERROR, "ioctl %s failed - %s", query.text_word, request.ifr_name);
    return false;
  }
  return true;
}

}  // namespace

int TAVOHAGetRelatedIFInfo(const char* ifname, char* address, int addressSize, char* netmask,
                           int netmaskSize) {
  const frame::PriorityBoost boost;
  const bool want_address = address != nullptr && addressSize > 0;
  const bool want_netmask = netmask != nullptr && netmaskSize > 0;
  if (!want_address && !want_netmask) {
    HA_RECORD(frame::kErrorBadParameter);
    return -1;
  }
  if (TAVOHAIsRunning() == 0) {
    HA_RECORD(frame::kErrorNotAvailable);
    return -1;
  }
  char main_interface[IFNAMSIZ] = {};
  if (ifname == nullptr || ifname[0] == '\0') {
    if (TAVOHAGetConf(HA_CONF_HA_IF_MAIN, 0, main_interface, sizeof main_interface) != 0) {
      HA_LOG(ERROR, "Failed to get HA main interface");
      return -1;
    }
    ifname = main_interface;
  }
  if (HAIsConfIFEnabled(ifname) != 1) return -1;

  const platform::UniqueFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket) {
    HA_LOG(ERROR, "Failed to open %s for ha.", ifname);
    return -1;
  }
  if (want_address && !AskKernel(socket.get(), ifname, kAddressQuery, address, addressSize)) {
    return -1;
  }
  if (want_netmask && !AskKernel(socket.get(), ifname, kNetmaskQuery, netmask, netmaskSize)) {
    return -1;
  }
  return 0;
}
