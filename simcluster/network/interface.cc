#include "simcluster/network/interface.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "simcluster/root/descriptor.h"

namespace simcluster {
namespace {

Error Failure(const std::string& what) {
  return "network: cannot " + what + ": " + strerror(errno);
}

ifreq Request(const std::string& name) {
  ifreq request{};
  name.copy(request.ifr_name, sizeof request.ifr_name - 1);
  return request;
}

// Hands the kernel one address of the interface.
bool Set(int socket_fd, unsigned long what, const std::string& name, const std::string& text) {
  ifreq request = Request(name);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  if (inet_pton(AF_INET, text.c_str(), &address.sin_addr) != 1) {
    errno = EINVAL;
    return false;
  }
  memcpy(&request.ifr_addr, &address, sizeof address);
  return ioctl(socket_fd, what, &request) == 0;
}

}  // namespace

Error AddInterface(const std::string& name) {
  constexpr const char* kinds[][2] = {{"link add dev ", " type dummy"},
                                      {"link add dev ", " type veth"},
                                      {"tuntap add dev ", " mode tap"}};
  const bool added = std::ranges::any_of(kinds, [&](const auto& kind) {
    const std::string command = "ip " + (kind[0] + name) + kind[1];
    return system(("exec " + command + " </dev/null >/dev/null 2>&1").c_str()) == 0;
  });
  if (!added) return "network: cannot add interface " + name + " with ip(8)";
  const Descriptor any_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request = Request(name);
  request.ifr_flags = IFF_UP;
  if (!any_socket || ioctl(any_socket.get(), SIOCSIFFLAGS, &request) != 0) {
    return Failure("bring up " + name);
  }
  return {};
}

Error SetAddress(const std::string& name, const std::string& address, const std::string& netmask) {
  const Descriptor any_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!any_socket || !Set(any_socket.get(), SIOCSIFADDR, name, address) ||
      !Set(any_socket.get(), SIOCSIFNETMASK, name, netmask)) {
    return Failure("give " + name + " the address " + address + ", netmask " + netmask);
  }
  return {};
}

Error RemoveAddress(const std::string& name) {
  const Descriptor any_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request = Request(name);
  request.ifr_flags = 0;
  if (any_socket && (ioctl(any_socket.get(), SIOCSIFFLAGS, &request) == 0 ||
                     errno == EADDRNOTAVAIL || errno == ENODEV)) {
    return {};
  }
  return Failure("take the address of " + name);
}

}  // namespace simcluster
