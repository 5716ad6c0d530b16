// Each operation logs under a module name of its own.
#include <dlfcn.h>
#include <tavohacore/dl.h>
#include <tavohacore/state.h>

#include "frame/log.h"

void* gHADLHandle = nullptr;
int gHADLHandleRef = 0;

namespace {

constexpr char kFullLibrary[] = "/lib/libtavoha.so";

void Unload() {
  if (gHADLHandle != nullptr) dlclose(gHADLHandle);
  gHADLHandle = nullptr;
}

// Returns the address of `symbol` in the loaded library, or null.
void* Find(const char* symbol) {
  if (symbol == nullptr) return nullptr;
  dlerror();
  void* const address = dlsym(gHADLHandle, symbol);
  return dlerror() == nullptr ? address : nullptr;
}

int FailToGet(const char* symbol) {
  constexpr char kLogModule[] = "ha_dl_get_fp";
  HA_LOG(ERROR, "Failed to TAVOHADlGetFP: %s.\n", symbol != nullptr ? symbol : "(null)");
  return -1;
}

}  // namespace

int TAVOHADlInit() {
  constexpr char kLogModule[] = "ha_dl_init";
  if (gHADLHandleRef < 0) {
    HA_LOG(ERROR, "gHADLHandleRef < 0.");
    gHADLHandleRef = 0;
  }
  if (gHADLHandle != nullptr) {
    ++gHADLHandleRef;
    return 0;
  }
  if (TAVOHAIsRunning() == 0) return -2;
  if (HAEnvPathInit() == -1) {
    HA_LOG(ERROR, "Failed to HAEnvPathInit.\n");
    return -1;
  }
  gHADLHandle = dlopen(kFullLibrary, RTLD_LAZY);
  if (gHADLHandle == nullptr) {
    HA_LOG(ERROR, "Failed to dlopen.\n");
    return -1;
  }
  ++gHADLHandleRef;
  return 0;
}

void TAVOHADlClose() {
  constexpr char kLogModule[] = "ha_dl_close";
  if (gHADLHandleRef < 0) {
    HA_LOG(ERROR, "gHADLHandleRef < 0.");
    gHADLHandleRef = 0;
    Unload();
  } else if (gHADLHandleRef == 0) {
    if (gHADLHandle == nullptr) return;
    HA_LOG(ERROR, "gHADLHandleRef == 0 but gHADLHandle exists.");
    Unload();
  } else if (--gHADLHandleRef == 0) {
    Unload();
  }
}

int TAVOHADlGetFP(const char* symbol, void** function) {
  constexpr char kLogModule[] = "ha_dl_get_fp";
  if (function == nullptr) {
    HA_RECORD(frame::kErrorBadParameter);
    return FailToGet(symbol);
  }
  const int loaded = TAVOHADlInit();
  if (loaded == -1) return FailToGet(symbol);
  if (loaded != 0) return loaded;
  *function = Find(symbol);
  if (*function == nullptr) {
    TAVOHADlClose();
    return FailToGet(symbol);
  }
  return 0;
}

int TAVOHADlKeepHandle() { return TAVOHADlInit(); }

void TAVOHADlKeepHandleRelease() { TAVOHADlClose(); }
