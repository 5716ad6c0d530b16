#include <tavohacore/conf.h>
#include <tavohacore/state.h>

#include <cerrno>

#include "frame/boost.h"
#include "frame/log.h"
#include "platform/tavlib.h"

namespace {

constexpr char kLogModule[] = "ha_get_model";
constexpr char kPlatformDefaults[] = "/etc.defaults/tavoinfo.conf";

}  // namespace

int TAVOHAGetModel(char* model, int size) {
  const frame::PriorityBoost boost;
  if (model == nullptr || size == 0) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  if (TAVOHAGetConf(HA_CONF_HA_MODEL, 0, model, size) >= 0) return 0;
  const int found = TAVLIBFileGetKeyValue(kPlatformDefaults, "upnpmodelname", model, size, 0);
  if (found < 0) {
    HA_LOG(ERROR, "Failed to get model name from %s", kPlatformDefaults);
    return -1;
  }
  // Without the key the platform leaves the buffer alone, but success promises a text.
  if (found == 0 && size > 0) model[0] = '\0';
  return 0;
}
