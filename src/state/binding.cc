#include <tavohacore/conf.h>
#include <tavohacore/state.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "frame/boost.h"
#include "frame/contain.h"
#include "frame/line_reader.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ha";

constexpr char kProgressFile[] = "/tmp/.ha.status";
constexpr char kBindingKey[] = "BINDING";
constexpr char kUnbindingKey[] = "UNBINDING";
constexpr char kProgressFormat[] = "%s=\"%s\"\n";
constexpr char kPassiveBindingMarker[] = "/tmp/.ha_passive_is_binding";
constexpr char kLocalAddresses[] = "/var/lib/ha//ip.local";
constexpr char kRemoteAddresses[] = "/var/lib/ha//ip.remote";
constexpr size_t kValueSize = 1024;
constexpr size_t kMaxLineLength = 1023;

static_assert(sizeof(HA_NET_INFO) == 60);

template <typename Progress>
bool ReadProgress(const char* key, Progress* progress) {
  *progress = Progress{};
  char text[kValueSize] = {};
  if (TAVLIBFileGetKeyValue(kProgressFile, key, text, sizeof text, 0) < 1) return false;
  *progress = static_cast<Progress>(strtol(text, nullptr, 10));
  return true;
}

bool WriteProgress(const char* key, int progress) {
  char text[16];
  HASnprintf(text, sizeof text, "%d", progress);
  return TAVLIBFileSetKeyValue(kProgressFile, key, text, kProgressFormat) == 1;
}

// The two kinds of interfaces, and what ha.conf calls their entries.
struct InterfaceKind {
  HA_CONF_TYPE name, address, netmask, enabled;
  const char* log_word;
};
constexpr InterfaceKind kInterfaceKinds[] = {
    {HA_CONF_HA_IF, HA_CONF_HA_IP, HA_CONF_HA_NETMASK, HA_CONF_HA_IF_ENABLED, "if"},
    {HA_CONF_HA_BOND_IF, HA_CONF_HA_BOND_IP, HA_CONF_HA_BOND_NETMASK, HA_CONF_HA_BOND_IF_ENABLED,
     "bond if"},
};

bool IsEnabled(const InterfaceKind& kind, int index) {
  char flag[kValueSize] = {};
  if (TAVOHAGetConf(kind.enabled, index, flag, sizeof flag) != 0) {
    HA_LOG(ERROR, "Failed to get %s from conf. %d.", kind.log_word, index);
  }
  return strcmp(flag, "true") == 0;
}

template <int kSize>
void ReadField(HA_CONF_TYPE type, int index, const char* log_word, char (&field)[kSize]) {
  if (TAVOHAGetConf(type, index, field, kSize) != 0) {
    HA_LOG(ERROR, "Failed to get %s from conf. %d.", log_word, index);
  }
}

// Whether a line of the list file, without the white space around it, is `address`.
bool HoldsAddress(const char* path, const char* address) {
  const platform::UniqueStream file(fopen(path, "re"));
  if (!file) return false;
  frame::LineReader lines(file.get());
  while (lines.Next()) {
    // No address is that long, whatever blanks stand around it.
    if (strcspn(lines.text(), "\n") > kMaxLineLength) continue;
    char trimmed[kMaxLineLength + sizeof "\n"];
    if (TAVLIBStrTrim(lines.text(), trimmed, 0, 0) > 0 && strcmp(trimmed, address) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

int BindingProgressGet(_tag_BindingProgress* progress) {
  if (!ReadProgress(kBindingKey, progress)) {
    HA_LOG_WITH_RECORD("Failed to get binding progress ");
    return -1;
  }
  return 0;
}

int BindingProgressSet(_tag_BindingProgress progress) {
  if (!WriteProgress(kBindingKey, progress)) {
    HA_LOG_WITH_RECORD("Failed to set binding progress ");
    return -1;
  }
  return 0;
}

int UnbindingProgressGet(_tag_UnbindingProgress* progress) {
  if (!ReadProgress(kUnbindingKey, progress)) {
    HA_LOG_WITH_RECORD("Failed to get unbinding progress ");
    return -1;
  }
  return 0;
}

int UnbindingProgressSet(_tag_UnbindingProgress progress) {
  if (!WriteProgress(kUnbindingKey, progress)) {
    HA_LOG_WITH_RECORD("Failed to set unbinding progress ");
    return -1;
  }
  return 0;
}

int HAIsBinding() {
  if (TAVLIBFileExist(kPassiveBindingMarker) == 1) return 1;
  if (TAVLIBFileExist(kProgressFile) != 1) return 0;
  _tag_BindingProgress progress;
  return BindingProgressGet(&progress) == 0 && progress != BINDING_PROGRESS_END ? 1 : 0;
}

int TAVOHAGetHANetinfo(HA_NET_INFO* list, int count) {
  const frame::PriorityBoost boost;
  if (list == nullptr || count != HA_NET_INFO_COUNT) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  memset(list, 0, sizeof(HA_NET_INFO) * HA_NET_INFO_COUNT);
  int filled = 0;
  for (int index = 0; index < HA_CONF_MAX_INDEX; ++index) {
    for (const InterfaceKind& kind : kInterfaceKinds) {
      if (!IsEnabled(kind, index) || filled == HA_NET_INFO_COUNT) continue;
      HA_NET_INFO& record = list[filled++];
      ReadField(kind.name, index, "if", record.ifName);
      ReadField(kind.address, index, "ip", record.ip);
      ReadField(kind.netmask, index, "if", record.netmask);
    }
  }
  return filled;
}

int TAVOHAIsHAIPConflict(const char* address) {
  if (address == nullptr || TAVOHAIsRunning() == 0) return 0;
  return frame::Contain(0, [&] {
    return HoldsAddress(kLocalAddresses, address) || HoldsAddress(kRemoteAddresses, address) ? 1
                                                                                             : 0;
  });
}
