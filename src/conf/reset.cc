#include <tavohacore/conf.h>

#include "conf/keys.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "conf";

int CopyDefaults() {
  if (TAVLIBExec("/bin/cp", "-f", conf::kDefaultsFile, conf::kConfFile, nullptr) != 0) {
    HA_LOG(ERROR, "Failed to copy ha.conf.");
    return -1;
  }
  return 0;
}

int EmptyEveryValue() {
  platform::SzHash values;
  platform::SzList keys;
  if (!values || !keys) {
    HA_LOG(ERROR, "Failed to alloc.");
    return -1;
  }
  if (TAVLIBFileGetPair(conf::kConfFile, values.address()) == -1) {
    HA_LOG(ERROR, "Failed to get pair.");
    return -1;
  }
  if (TAVLIBSzHashEnumKey(values.get(), keys.address()) == -1) {
    HA_LOG(ERROR, "Failed to enum key.");
    return -1;
  }
  for (int i = 0; const char* key = TAVLIBSzListGet(keys.get(), i); ++i) {
    if (TAVLIBSzHashSetValue(values.address(), key, "") < 0) {
      HA_LOG(ERROR, "Failed to set hash key(%s) for empty string value.", key);
    }
  }
  if (TAVLIBFileSetKeys(conf::kConfFile, values.get(), nullptr, conf::kLineFormat) < 1) {
    HA_LOG(ERROR, "Failed to set keys to ha.conf");
    return -1;
  }
  return 0;
}

}  // namespace

int TAVOHAResetConf() {
  return TAVLIBFileExist(conf::kDefaultsFile) == 1 ? CopyDefaults() : EmptyEveryValue();
}

int TAVOHACleanConfRemote() {
  if (TAVOHASetConf(HA_CONF_IS_HYBRID, 0, "false") != 0) {
    HA_LOG(ERROR, "failed to clean is_hybrid.");
    return -1;
  }
  if (TAVOHASetConf(HA_CONF_HOST_REMOTE, 0, "") != 0) {
    HA_LOG(ERROR, "failed to clean remote host.");
    return -1;
  }
  if (TAVOHASetConf(HA_CONF_IP_REMOTE, 0, "") != 0) {
    HA_LOG(ERROR, "failed to clean remote ip.");
    return -1;
  }
  for (int index = 0; index < HA_CONF_MAX_INDEX; ++index) {
    if (TAVOHASetConf(HA_CONF_MAC_REMOTE, index, "") != 0) {
      HA_LOG(ERROR, "failed to clean remote mac.");
      return -1;
    }
  }
  return 0;
}
