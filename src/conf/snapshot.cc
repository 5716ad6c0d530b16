// ha.conf as one record. Neither direction touches the mirror file.
#include <tavohacore/conf.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "conf/keys.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "conf";

// Where the text of a type stands in the record, and how many bytes it has. The texts of an indexed
// type follow each other.
struct Field {
  size_t offset;
  size_t width;
};

// Other programs hold the record too: a field must stand where they look for it.
template <size_t kOffset, size_t kAgreedOffset, typename Texts>
constexpr Field Place() {
  static_assert(kOffset == kAgreedOffset);
  return {kOffset, std::extent_v<Texts, std::rank_v<Texts> - 1>};
}
#define FIELD(name, agreed_offset) \
  Place<offsetof(HA_CONF_STRUCT, name), agreed_offset, decltype(HA_CONF_STRUCT::name)>()
static_assert(sizeof(HA_CONF_STRUCT) == 2902);

// By conf type.
constexpr Field kFields[] = {
    FIELD(drbd_if, 0),
    FIELD(drbd_if_origin, 16),
    FIELD(drbd_ip0, 32),
    FIELD(drbd_ip1, 52),
    FIELD(drbd_netmask, 72),
    FIELD(drbd_bond_mode_origin, 92),
    FIELD(drbd_mtu_origin, 94),
    FIELD(host0, 100),
    FIELD(host1, 164),
    FIELD(ip0, 228),
    FIELD(ip1, 248),
    FIELD(corosync_key, 268),
    FIELD(ha_sn, 278),
    FIELD(ha_sn_custom, 314),
    FIELD(ha_model, 346),
    FIELD(ha_unique, 362),
    FIELD(ha_hostname, 426),
    FIELD(ha_if_main, 490),
    FIELD(ha_gateway, 506),
    FIELD(begin_time, 2710),
    FIELD(is_hybrid, 2742),
    FIELD(model_group, 2750),
    FIELD(model0, 2766),
    FIELD(model1, 2830),
    FIELD(lan_num, 2894),
    FIELD(ha_if, 526),
    FIELD(ha_ip, 718),
    FIELD(ha_netmask, 958),
    FIELD(ha_if_enabled, 1198),
    FIELD(ha_bond_if, 1294),
    FIELD(ha_bond_ip, 1486),
    FIELD(ha_bond_netmask, 1726),
    FIELD(ha_bond_if_enabled, 1966),
    FIELD(ha_mac, 2062),
    FIELD(mac0, 2278),
    FIELD(mac1, 2494),
};
#undef FIELD
static_assert(std::size(kFields) == conf::kRealTypeCount);

// Calls visit(type, key, its field in the record) for every key in the order of the types, until
// one returns false. Returns whether none did.
template <typename Visit>
bool VisitKeys(Visit visit) {
  for (int number = 0; number < conf::kRealTypeCount; ++number) {
    const auto type = static_cast<HA_CONF_TYPE>(number);
    Field field = kFields[number];
    const int slots = conf::IsIndexed(type) ? HA_CONF_MAX_INDEX : 1;
    for (int slot = 0; slot < slots; ++slot, field.offset += field.width) {
      char key[conf::kKeySize];
      conf::HAConfTypeToKey(type, slot, key);
      if (!visit(type, key, field)) return false;
    }
  }
  return true;
}

// Reads one key into `text`. Returns whether it was there.
bool ReadKey(HA_CONF_TYPE type, const char* key, char* text, size_t width) {
  char value[conf::kValueSize] = {};
  const int found = TAVLIBFileGetKeyValue(conf::kConfFile, key, value, sizeof value, 0);
  if (found > 0) {
    HASnprintf(text, width, "%s", value);
    return true;
  }
  if (found < 0) {
    HA_LOG(ERROR, "Failed to get key:%s", key);
  } else if (conf::IsIndexed(type)) {
    HA_LOG(ERROR, "There is no key:%s", key);
  } else {
    HA_LOG(DEBUG, "There is no key:%s", key);
  }
  return false;
}

}  // namespace

int HAConfStructGet(HA_CONF_STRUCT* record) {
  if (record == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  char* const texts = reinterpret_cast<char*>(record);
  int result = -1;
  VisitKeys([&](HA_CONF_TYPE type, const char* key, const Field& field) {
    if (ReadKey(type, key, texts + field.offset, field.width)) result = 0;
    return true;
  });
  return result;
}

int HAConfStructSet(const HA_CONF_STRUCT* record) {
  platform::SzHash values;
  if (!values) {
    HA_LOG(ERROR, "Failed to alloc");
    return -1;
  }
  if (record == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  const char* const texts = reinterpret_cast<const char*>(record);
  const bool all_set = VisitKeys([&](HA_CONF_TYPE type, const char* key, const Field& field) {
    if (type == HA_CONF_COROSYNC_KEY) return true;
    char value[conf::kValueSize] = {};
    memcpy(value, texts + field.offset, field.width - 1);
    if (TAVLIBSzHashSetValue(values.address(), key, value) < 0) {
      HA_LOG(ERROR, "Failed to set hash, key: %s, value: %s", key, value);
      return false;
    }
    return true;
  });
  if (!all_set) return -1;
  if (TAVLIBFileSetKeys(conf::kConfFile, values.get(), nullptr, conf::kLineFormat) < 1) {
    HA_LOG(ERROR, "Failed to set keys to ha.conf");
    return -1;
  }
  return 0;
}
