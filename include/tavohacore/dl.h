/// @file
/// The bridge to the full HA library, "/lib/libtavoha.so": large, needed only while HA runs, and
/// therefore loaded on demand and counted.
///
/// Every success of TAVOHADlInit, TAVOHADlKeepHandle and TAVOHADlGetFP is a reference, to be
/// dropped with one TAVOHADlClose or TAVOHADlKeepHandleRelease. Not for several threads at once: a
/// host with threads serialises all calls of this header itself.
#ifndef TAVOHACORE_DL_H_
#define TAVOHACORE_DL_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// The loaded library, null when it is not.
extern TAVOHA_EXPORT void* gHADLHandle;

/// The number of references to it.
extern TAVOHA_EXPORT int gHADLHandleRef;

/// Takes a reference, loading the library when it is not loaded. Loading calls HAEnvPathInit, whose
/// effect stays. Returns 0; -1 with a logged ERROR when loading failed; -2 when it is not loaded
/// and HA does not run. A negative count is logged as ERROR and taken as 0.
TAVOHA_EXPORT int TAVOHADlInit(void);

/// Drops a reference, and unloads the library with the last one. Without a reference nothing
/// happens; a count that does not fit the handle is logged as ERROR and both are reset.
TAVOHA_EXPORT void TAVOHADlClose(void);

/// Takes a reference and stores the address of `symbol` in *function. Returns 0; -1 with a logged
/// ERROR, and error record 0x0D00 for a null `function`; -2, with *function as it was, when HA does
/// not run. No reference is held after a failure.
TAVOHA_EXPORT int TAVOHADlGetFP(const char* symbol, void** function);

/// TAVOHADlInit under another name: takes a reference around many calls, so that the library is not
/// loaded for each.
TAVOHA_EXPORT int TAVOHADlKeepHandle(void);

/// TAVOHADlClose under another name: drops the reference around many calls.
TAVOHA_EXPORT void TAVOHADlKeepHandleRelease(void);

/// @name Calls into the full library
/// Each takes as long as the function that it calls, which gets the arguments unchanged. They run
/// with raised priority for storage web-service workers.
/// @{

/// Calls "TAVOHAIsHybrid" and returns its result; -1 when the function cannot be had.
TAVOHA_EXPORT int TAVOHAIsHybridDL(void* first, void* second);

/// Calls "HAGetOverviewStatus"; does nothing when the function cannot be had.
TAVOHA_EXPORT void TAVOHAGetOverviewStatusDL(void* first, int second);

/// Calls "TAVOHAUpgradeHandle" and returns its result; -1 when the function cannot be had.
TAVOHA_EXPORT int TAVOHAUpgradeHandleDL(int argument);

/// @}

#ifdef __cplusplus
}  // extern "C"
#endif

#endif  // TAVOHACORE_DL_H_
