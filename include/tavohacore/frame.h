/// @file
/// The runtime frame: logging, caller priority, named file locks, and small text, host-name,
/// interface-name and process utilities.
#ifndef TAVOHACORE_FRAME_H_
#define TAVOHACORE_FRAME_H_

#include <stdio.h>
#include <tavohacore/export.h>
#include <tavohacore/types.h>

#ifdef __cplusplus
#include <string>
#endif

/// What a named lock guards. Each has its own lock file; see rgshalckList.
enum HA_FILE_LOCK_TYPE TAVOHA_HELD_IN_INT {
  HA_LOCK_SPACE = 0,
  HA_LOCK_INFOSET = 1,
  HA_LOCK_UPGRADE = 2,
  HA_LOCK_TAVOLOG_SEND = 3,
  HA_LOCK_SPACE_CHECK_TASK = 4,
  HA_LOCK_LOAD_OVERVIEW = 5,
  HA_LOCK_LOAD_SPACE = 6,
  HA_LOCK_CRM_OPERATION = 7,
  HA_LOCK_DISK_INFO = 8,
  HA_LOCK_HB_OPERATION = 9,
};

/// How many named locks there are.
enum { HA_FILE_LOCK_COUNT = 10 };

/// One row of the lock table.
typedef struct HA_FILE_LOCK_ENTRY {
  enum HA_FILE_LOCK_TYPE type;  ///< the lock
  const char* path;             ///< its lock file
} HA_FILE_LOCK_ENTRY;

/// Kinds of network interface, told by the start of the name.
enum HA_IF_TYPE TAVOHA_HELD_IN_INT {
  HA_IF_TYPE_ETH = 0,       ///< "eth"
  HA_IF_TYPE_BOND = 1,      ///< "bond"
  HA_IF_TYPE_OVS_ETH = 2,   ///< "ovs_eth"
  HA_IF_TYPE_OVS_BOND = 3,  ///< "ovs_bond"
  HA_IF_TYPE_UNKNOWN = 4,
};

/// A network interface name, taken apart.
typedef struct HA_IF_NAME_INFO {
  int type;   ///< a value of HA_IF_TYPE
  int index;  ///< the interface's number, of at most two digits
} HA_IF_NAME_INFO;

/// A "not set" value for the two out-of-memory fields below.
#define TAVOHA_PRIORITY_NOT_SET (-2147483647 - 1)

#ifndef __cplusplus
typedef enum HA_FILE_LOCK_TYPE HA_FILE_LOCK_TYPE;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// The lock table: the lock files by type. Other programs of the HA system take the same files.
extern TAVOHA_EXPORT HA_FILE_LOCK_ENTRY rgshalckList[HA_FILE_LOCK_COUNT];

/// Returns 1 when the calling process is a storage web-service worker and HA runs, else 0. Reads
/// "/proc/PID/cmdline". Logs ERROR when that cannot be opened or read.
TAVOHA_EXPORT int TAVOHAChkIfChangePriority(void);

/// Reads the calling process's nice value, I/O priority word and out-of-memory adjustment. Of the
/// last two, one is written: *oomScoreAdj on kernels that have "/proc/self/oom_score_adj", else
/// *oomAdj. Returns 1, or 0 with error record 0x0D00 (a null pointer) or 0x0A00 (neither
/// out-of-memory file can be read).
TAVOHA_EXPORT int TAVOHAGetPriority(int* nice, int* ioPriority, int* oomScoreAdj, int* oomAdj);

/// Sets what TAVOHAGetPriority reads. An I/O priority without a class (0 to 8191) is set as best
/// effort. oomAdj is used only where oomScoreAdj is TAVOHA_PRIORITY_NOT_SET or cannot be written. A
/// refused nice value or I/O priority is not reported. Records 0x0D00 for each of the two
/// out-of-memory values that is met unset, and 0x0B00 when neither was written.
TAVOHA_EXPORT void TAVOHASetPriority(int nice, int ioPriority, int oomScoreAdj, int oomAdj);

/// Returns 1 when the parent process is the platform's task runner "/tmp/tavoschedtask", else 0.
/// Logs ERROR when the parent's executable cannot be read.
TAVOHA_EXPORT int TAVOHAIsRunByTavoschedtask(void);

#ifdef __cplusplus
}  // extern "C"

/// Writes one message to the system log, at any of the priorities LOG_ERR to LOG_DEBUG, with
/// facility LOG_USER and the process id. "%m" shows the current error. Leaves errno as it was.
TAVOHA_EXPORT void __halog(int priority, const char* format, ...) TAVOHA_PRINTF(2, 3);

/// Takes the named lock `type` and leaves its open lock file in *slot. While another process or
/// thread holds it, tries again after a pause of one second, `retries` times. Creates "/tmp/ha/"
/// (mode 0755) and the lock file when they are missing. Returns 0, or -1 with a null *slot. Logs
/// ERROR for a null slot, an unknown type, and a directory or file that cannot be created.
TAVOHA_EXPORT int HAFileLock(FILE** slot, HA_FILE_LOCK_TYPE type, unsigned int retries);

/// Releases the lock in *slot and sets it to null. Returns 0, or -1 when there was nothing to
/// release. Logs ERROR when the unlocking itself fails; closing the file then releases the lock.
TAVOHA_EXPORT int HAFileUnlock(FILE** slot);

/// Returns the row of `type` in rgshalckList, or -1.
TAVOHA_EXPORT int HAFindLockType(HA_FILE_LOCK_TYPE type);

/// Formats into `buffer` of `size` bytes. Returns the length written, or -1 when formatting failed
/// or the text did not fit; the buffer then holds the text cut to size.
TAVOHA_EXPORT int HASnprintf(char* buffer, unsigned long size, const char* format, ...)
    TAVOHA_PRINTF(3, 4);

/// Returns the formatted text, cut to 4095 characters; empty when memory runs out.
TAVOHA_EXPORT std::string FormattedString(const char* format, ...) TAVOHA_PRINTF(1, 2);

/// Writes the node's host name into `name` (64 bytes): the first line, line end included, of
/// "/tmp/.ha.hostname.original" or else "/var/lib/ha/ha.hostname.original", or else the kernel's
/// short host name. Returns 1 when a name was found, 0 for an empty one, -1 on failure. Logs ERROR
/// for a null buffer, and with the error record when the kernel's name is needed and not had.
TAVOHA_EXPORT int GetLocalHostname(char* name);

/// The same by value; empty on failure, which is logged.
TAVOHA_EXPORT std::string GetLocalHostname();

/// Writes the kernel's host name, cut at its first ".", into `name` (64 bytes), under the
/// platform's host-name lock. Returns 1 when there is one, 0 for an empty one, -1 on failure with
/// error record 0x0D00 (null buffer), 0x0400 (lock not had) or 0x8100 (name not read). The lock may
/// be waited for five seconds.
TAVOHA_EXPORT int HATAVOLnxGetHostname(char* name);

/// Returns the kind of the interface, a value of HA_IF_TYPE. A null name records 0x0D00.
TAVOHA_EXPORT int HAGetInterfaceType(const char* name);

/// Takes an interface name apart: "ovs_bond3" is kind 3, index 3. Returns 0, or -1 with error
/// record 0x0D00 (null name) or 0xD900 (unknown kind), or with a logged ERROR (no number).
TAVOHA_EXPORT int HAGetInterfaceTypeAndIndex(const char* name, HA_IF_NAME_INFO& info);

/// Writes the path of the executable of process `pid` into `buffer` of `size` bytes. The path is
/// not terminated, so pass a zeroed buffer. Returns 0, or -1 with a logged ERROR.
TAVOHA_EXPORT int HAProcNameGetByPid(int pid, char* buffer, unsigned long size);

/// Removes the first line of the text file at `path` and copies it, its line end included, into
/// `line` of `size` bytes. An empty file leaves `line` untouched. The file is replaced in one step
/// and then readable and writable by its owner only. Returns 0, or -1 with the file unchanged:
/// silently for a file that cannot be opened, logged as ERROR for bad arguments, else with error
/// record 0x0900, 0x0B00 or 0x2800 (temporary file, writing, renaming), and `line` may be filled.
TAVOHA_EXPORT int FileRemoveFirstLine(const char* path, char* line, unsigned int size);
#endif

#endif  // TAVOHACORE_FRAME_H_
