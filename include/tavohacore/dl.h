// The bridge to the full HA library, "/lib/libtavoha.so": large, needed only while HA runs, and
// therefore loaded on demand and counted.
//
// Every success of TAVOHADlInit, TAVOHADlKeepHandle and TAVOHADlGetFP is a reference, to be dropped
// with one TAVOHADlClose or TAVOHADlKeepHandleRelease. Not for several threads at once: a host with
// threads serialises all calls of this header itself.
#ifndef TAVOHACORE_DL_H_
#define TAVOHACORE_DL_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// The loaded library, null when it is not, and the number of references to it.
extern TAVOHA_EXPORT void* gHADLHandle;
extern TAVOHA_EXPORT int gHADLHandleRef;

// Takes a reference, loading the library when it is not loaded. Loading calls HAEnvPathInit, whose
// effect stays. Returns 0; -1 with a logged ERROR when loading failed; -2 when it is not loaded and
// HA does not run. A negative count is logged as ERROR and taken as 0.
TAVOHA_EXPORT int TAVOHADlInit(void);

// Drops a reference, and unloads the library with the last one. Without a reference nothing
// happens; a count that does not fit the handle is logged as ERROR and both are reset.
TAVOHA_EXPORT void TAVOHADlClose(void);

// Takes a reference and stores the address of `symbol` in *function. Returns 0; -1 with a logged
// ERROR, and error record 0x0D00 for a null `function`; -2, with *function as it was, when HA does
// not run. No reference is held after a failure.
TAVOHA_EXPORT int TAVOHADlGetFP(const char* symbol, void** function);

// A reference around many calls, so that the library is not loaded for each: TAVOHADlInit and
// TAVOHADlClose under other names.
TAVOHA_EXPORT int TAVOHADlKeepHandle(void);
TAVOHA_EXPORT void TAVOHADlKeepHandleRelease(void);

// Call "TAVOHAIsHybrid", "HAGetOverviewStatus" and "TAVOHAUpgradeHandle" of the full library with
// these arguments, unchanged, and return their results; -1 when the function cannot be had. Run
// with raised priority for storage web-service workers.
TAVOHA_EXPORT int TAVOHAIsHybridDL(void* first, void* second);
TAVOHA_EXPORT void TAVOHAGetOverviewStatusDL(void* first, int second);
TAVOHA_EXPORT int TAVOHAUpgradeHandleDL(int argument);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // TAVOHACORE_DL_H_
