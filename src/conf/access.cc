#include <tavohacore/conf.h>

#include <cerrno>
#include <cstring>

#include "conf/keys.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "conf";
constexpr int kCustomSerialNumberSize = 31;

using conf::kKeySize;
using conf::kValueSize;

// Reads one key of a key/value file. A missing file or key is not logged.
bool HAConfFileGetValue(const char* path, const char* key, char* value) {
  if (path == nullptr || key == nullptr || value == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return false;
  }
  platform::SzList keys;
  platform::SzHash values;
  if (!keys || !values) {
    HA_LOG_ERROR_TEXT(ENOMEM);
    HA_RECORD(frame::kErrorNoMemory);
    return false;
  }
  if (TAVLIBSzListPush(keys.address(), key) == -1) {
    HA_LOG(ERROR, "Failed to push key into list");
    return false;
  }
  if (TAVLIBFileGetKeys(path, keys.get(), values.address(), "=") != 1) return false;
  const char* found = TAVLIBSzHashGetValue(values.get(), key);
  if (found == nullptr) {
    HA_LOG(ERROR, "Failed to get value from hash");
    return false;
  }
  if (HASnprintf(value, kValueSize, "%s", found) == -1) {
    HA_LOG_ERROR_TEXT(ENOBUFS);
    return false;
  }
  return true;
}

// What a caller's type and index stand for in the file.
struct Entry {
  HA_CONF_TYPE real_type;
  char key[kKeySize];
};

bool FindEntry(HA_CONF_TYPE type, int index, Entry* entry) {
  if (!conf::HAConfTypeToRealType(type, &entry->real_type)) {
    HA_LOG(ERROR, "Failed to map conf type %d to real conf type", type);
    return false;
  }
  if (!conf::HAConfTypeToKey(entry->real_type, index, entry->key)) {
    HA_LOG(ERROR, "Failed to get the key of conf type %d, idx %d", entry->real_type, index);
    return false;
  }
  return true;
}

// Reads the entry from the mirror file, or else from the configuration file; what came from there
// is copied to the mirror file, which so fills itself.
bool ReadEntry(const Entry& entry, char* value) {
  const bool mirrored = conf::IsMirrored(entry.real_type);
  if (mirrored && TAVLIBFileExist(conf::kMirrorFile) == 1 &&
      HAConfFileGetValue(conf::kMirrorFile, entry.key, value)) {
    return true;
  }
  memset(value, 0, kValueSize);  // of what a mirrored value too long for it left there
  if (!HAConfFileGetValue(conf::kConfFile, entry.key, value)) return false;
  if (mirrored && TAVLIBFileSetKeyValue(conf::kMirrorFile, entry.key, value, nullptr) == -1) {
    HA_LOG(ERROR, "Failed to set key");
  }
  return true;
}

bool WriteEntry(const char* path, const Entry& entry, const char* value) {
  if (TAVLIBFileSetKeyValue(path, entry.key, value, conf::kLineFormat) == -1) {
    HA_LOG(ERROR, "Failed to set key: %s", conf::TableKey(entry.real_type));
    return false;
  }
  return true;
}

}  // namespace

int TAVOHAGetConf(HA_CONF_TYPE type, int index, char* buffer, int size) {
  if (buffer == nullptr || size < 1) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  Entry entry;
  if (!FindEntry(type, index, &entry)) return -1;
  char value[kValueSize] = {};
  if (!ReadEntry(entry, value)) return -1;

  if (entry.real_type == HA_CONF_HA_SN_CUSTOM && size == kCustomSerialNumberSize) {
    // Callers with this size keep the serial number in a field of exactly that many bytes.
    memcpy(buffer, value, kCustomSerialNumberSize);
  } else {
    HASnprintf(buffer, static_cast<unsigned long>(size), "%s", value);
  }
  return 0;
}

int TAVOHASetConf(HA_CONF_TYPE type, int index, const char* value) {
  if (value == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  Entry entry;
  if (!FindEntry(type, index, &entry)) return -1;
  if (!WriteEntry(conf::kConfFile, entry, value)) return -1;
  if (conf::IsMirrored(entry.real_type) && !WriteEntry(conf::kMirrorFile, entry, value)) return -1;
  return 0;
}

int TAVOHAGetConfByIF(int attribute, const char* ifname, char* buffer, int size) {
  if (buffer == nullptr || size <= 0 || ifname == nullptr || attribute < HA_CONF_IF_ATTR_NAME ||
      attribute > HA_CONF_IF_ATTR_ENABLED) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  HA_IF_NAME_INFO info{};
  if (HAGetInterfaceTypeAndIndex(ifname, info) == -1) return -1;
  return TAVOHAGetConf(conf::InterfaceType(info, attribute), info.index, buffer, size);
}
