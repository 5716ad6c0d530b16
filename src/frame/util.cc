#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>
#include <string_view>

#include "frame/contain.h"
#include "frame/host_name.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "util";

// Where the node's host name is saved when HA is set up, in the order of trying.
constexpr const char* kSavedHostNames[] = {
    "/tmp/.ha.hostname.original",
    "/var/lib/ha/ha.hostname.original",
};

struct InterfacePrefix {
  std::string_view prefix;
  HA_IF_TYPE type;
};
constexpr InterfacePrefix kInterfacePrefixes[] = {
    {"eth", HA_IF_TYPE_ETH},
    {"bond", HA_IF_TYPE_BOND},
    {"ovs_eth", HA_IF_TYPE_OVS_ETH},
    {"ovs_bond", HA_IF_TYPE_OVS_BOND},
};

platform::UniqueFd OpenSavedHostName() {
  for (const char* path : kSavedHostNames) {
    // Not blocking: a FIFO that somebody put there must not keep us waiting.
    platform::UniqueFd file(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file) return file;
  }
  return {};
}

// Reads the saved name as it stands, its line end included. Returns false when there is none.
bool ReadSavedHostName(char (&name)[kHostNameSize]) {
  const platform::UniqueFd file = OpenSavedHostName();
  const ssize_t length =
      file ? platform::RetryOnSignal([&] { return read(file.get(), name, sizeof name - 1); }) : 0;
  if (length <= 0) return false;
  name[length] = '\0';
  char* const line_end = strchr(name, '\n');
  if (line_end != nullptr) line_end[1] = '\0';
  return name[0] != '\0';
}

}  // namespace

int HASnprintf(char* buffer, unsigned long size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return length < 0 || static_cast<unsigned long>(length) >= size ? -1 : length;
}

std::string FormattedString(const char* format, ...) {
  char text[4096] = {};
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return frame::Contain(std::string(), [&] { return std::string(text); });
}

int GetLocalHostname(char* name) {
  if (name == nullptr) {
    HA_LOG(ERROR, "Bad parameter.");
    return -1;
  }
  char saved[kHostNameSize] = {};
  if (ReadSavedHostName(saved)) {
    memcpy(name, saved, strlen(saved) + 1);
    return 1;
  }
  const int result = HATAVOLnxGetHostname(name);
  if (result != 1) HA_LOG_WITH_RECORD("Failed to get hostname.");
  return result;
}

std::string GetLocalHostname() {
  char name[kHostNameSize] = {};
  if (GetLocalHostname(name) != 1) HA_LOG(ERROR, "Failed to get hostname.");
  return frame::Contain(std::string(), [&] { return std::string(name); });
}

int HAGetInterfaceType(const char* name) {
  if (name == nullptr) {
    HA_RECORD(frame::kErrorBadParameter);
    return HA_IF_TYPE_UNKNOWN;
  }
  for (const InterfacePrefix& row : kInterfacePrefixes) {
    if (std::string_view(name).starts_with(row.prefix)) return row.type;
  }
  return HA_IF_TYPE_UNKNOWN;
}

int HAGetInterfaceTypeAndIndex(const char* name, HA_IF_NAME_INFO& info) {
  if (name == nullptr) {
    HA_RECORD(frame::kErrorBadParameter);
    return -1;
  }
  info.type = HAGetInterfaceType(name);
  if (info.type == HA_IF_TYPE_UNKNOWN) {
    HA_RECORD(frame::kErrorNotAvailable);
    return -1;
  }
  if (sscanf(name, "%*8[a-z_]%2d", &info.index) != 1) {
    HA_LOG(ERROR, "Failed to get index from %s", name);
    return -1;
  }
  return 0;
}

int HAProcNameGetByPid(int pid, char* buffer, unsigned long size) {
  char link[1024];
  if (HASnprintf(link, sizeof link, "/proc/%d/exe", pid) == -1) {
    HA_LOG(ERROR, "Failed to prepare exe path");
    return -1;
  }
  if (readlink(link, buffer, size) == -1) {
    HA_LOG(ERROR, "Failed to get file name: %m");
    return -1;
  }
  return 0;
}
