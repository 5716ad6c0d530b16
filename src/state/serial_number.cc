#include <fcntl.h>
#include <tavohacore/conf.h>
#include <tavohacore/state.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frame/boost.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ha_get_sn";
constexpr size_t kSerialSize = 36;

// Where a serial number is recorded, and the kernel's file with the node's own.
struct SerialSource {
  HA_CONF_TYPE type;
  const char* kernel_file;
};
constexpr SerialSource kSerial = {HA_CONF_HA_SN, "/proc/sys/kernel/tavo_serial"};
constexpr SerialSource kCustomSerial = {HA_CONF_HA_SN_CUSTOM,
                                        "/proc/sys/kernel/tavo_custom_serial"};

// Reads the start of the file, less a line feed at its end.
bool ReadKernelSerial(const char* path, char (&serial)[kSerialSize]) {
  const platform::UniqueFd file(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (!file) return false;
  size_t length = 0;
  while (length < kSerialSize) {
    const ssize_t got = platform::RetryOnSignal(
        [&] { return read(file.get(), serial + length, kSerialSize - length); });
    if (got == -1) return false;
    if (got == 0) break;
    length += static_cast<size_t>(got);
  }
  serial[kSerialSize - 1] = '\0';
  length = strlen(serial);
  if (length > 0 && serial[length - 1] == '\n') serial[length - 1] = '\0';
  return true;
}

}  // namespace

int TAVOHAGetSN(int custom, char* serial, unsigned int size) {
  const frame::PriorityBoost boost;
  if (serial == nullptr || size == 0) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  const SerialSource& source = custom != 0 ? kCustomSerial : kSerial;
  if (TAVOHAGetConf(source.type, 0, serial, static_cast<int>(size)) >= 0) return 0;
  HA_LOG(ERROR, "Failed to get HA serial number from conf.");

  char kernel_serial[kSerialSize] = {};
  if (!ReadKernelSerial(source.kernel_file, kernel_serial)) {
    HA_LOG(ERROR, "Failed to get serial number");
    return -1;
  }
  if (HASnprintf(serial, size, "%s", kernel_serial) == -1) {
    memset(serial, 0, size);
    HA_RECORD(frame::kErrorBadParameter);
  }
  return 0;
}
