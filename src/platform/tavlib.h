// The operations of the platform core library, libtavocore.so.6, that this library uses: their C
// declarations, with what we require of each. The library is closed; core/ holds our stand-in. What
// the platform leaves open is decided there, and said here behind "Here:".
#ifndef PLATFORM_TAVLIB_H_
#define PLATFORM_TAVLIB_H_

#include <stdio.h>

#define TAVLIB_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

// An ordered list of strings, and a map from string to string. Here: a map enumerates its keys in
// the order in which they were first set.
typedef struct TAVLIBSZLIST TAVLIBSZLIST;
typedef struct TAVLIBSZHASH TAVLIBSZHASH;

// ---- Error record -------------------------------------------------------------------------------

// A code, a module name and a line: why the last operation failed. Stays until the next one is set.
// Here: one per thread. `module` is copied, and cut at 63 characters.
//
// Here, each operation below that fails sets one of these codes, under the name of a module here:
//   0x0200  out of memory
//   0x0300  a program could not be started, or its end was not to be learned
//   0x0400  a lock could not be taken in time
//   0x0700  there is no such file, or no directory for it
//   0x0800  the file has no such key
//   0x0900  a file, or the temporary file that is to replace one, could not be opened or prepared
//   0x0A00  reading failed
//   0x0B00  writing failed
//   0x0D00  bad parameter: a null pointer, or a key, value or format that a file cannot carry
//   0x2800  the temporary file could not be moved over the file
TAVLIB_EXPORT void TAVLIBErrSetEx(int code, const char* module, int line);
TAVLIB_EXPORT int TAVLIBErrGet(void);
TAVLIB_EXPORT const char* TAVLIBErrorGetFile(void);
TAVLIB_EXPORT int TAVLIBErrorGetLine(void);

// ---- Lists and maps -----------------------------------------------------------------------------

// Returns an empty list or map, or null. Here: `capacity` is a hint, and nothing is reserved.
TAVLIB_EXPORT TAVLIBSZLIST* TAVLIBSzListAlloc(int capacity);
TAVLIB_EXPORT TAVLIBSZHASH* TAVLIBSzHashAlloc(int capacity);
TAVLIB_EXPORT void TAVLIBSzListFree(TAVLIBSZLIST* list);
TAVLIB_EXPORT void TAVLIBSzHashFree(TAVLIBSZHASH* hash);

// Appends a copy of `text`; may replace the list. Returns the number of entries, or -1.
TAVLIB_EXPORT int TAVLIBSzListPush(TAVLIBSZLIST** list, const char* text);
// Returns entry `index`, or null.
TAVLIB_EXPORT const char* TAVLIBSzListGet(const TAVLIBSZLIST* list, int index);
TAVLIB_EXPORT void TAVLIBSzListRemoveAll(TAVLIBSZLIST* list);

// Stores a copy of the pair; may replace the map. Returns 1, or -1.
TAVLIB_EXPORT int TAVLIBSzHashSetValue(TAVLIBSZHASH** hash, const char* key, const char* value);
// Returns the value of `key`, or null.
TAVLIB_EXPORT const char* TAVLIBSzHashGetValue(const TAVLIBSZHASH* hash, const char* key);
// Appends every key of the map to the list. Returns the number of keys, or -1.
TAVLIB_EXPORT int TAVLIBSzHashEnumKey(const TAVLIBSZHASH* hash, TAVLIBSZLIST** list);
TAVLIB_EXPORT void TAVLIBHashRemoveAll(TAVLIBSZHASH* hash);

// ---- Text ---------------------------------------------------------------------------------------

// Copies `source` without its leading and trailing white space into `target`, which must have room
// for it. Returns the length. The last two arguments are always 0.
TAVLIB_EXPORT int TAVLIBStrTrim(const char* source, char* target, int reserved0, int reserved1);
// Strips leading and trailing white space in place. Returns the length. `reserved` is always 0.
TAVLIB_EXPORT int TAVLIBStrTrimSpace(char* text, int reserved);
// Splits `text` at the characters of `separators` and appends the fields to the list; runs of
// separators count as one, and none stands at either end. Returns the number of fields, or -1.
TAVLIB_EXPORT int TAVLIBStrSep(const char* text, const char* separators, TAVLIBSZLIST** list);

// ---- Files and processes ------------------------------------------------------------------------

// Returns 1 when the path exists. Here: 0 when it does not, or cannot be looked at.
TAVLIB_EXPORT int TAVLIBFileExist(const char* path);
// Creates an empty file, or updates the times of the one that is there. Returns 0, or -1. Here: a
// new file gets mode 0644 less the umask; below /tmp a link is never followed.
TAVLIB_EXPORT int TAVLIBFileTouch(const char* path);
// Returns 1 when the file holds, as decimal text, the id of a living process. Here: a process that
// we may not signal lives; a zombie does not, where that can be told (from Linux 5.3 on, with a
// descriptor to spare); 0 otherwise.
TAVLIB_EXPORT int TAVLIBProcAliveByPidFile(const char* path);

// Takes the lock `id & ~0xff`, waiting at most `seconds`; excludes other threads and processes.
// Returns 0, or -1. Here: an flock on "/tmp/.tavlib.lock.N", N being the lock in hexadecimal; the
// low byte of `id` is the mode, which is always exclusive; a thread that holds the lock already
// gets -1, as does one that holds 16. Only the thread that took a lock can release it.
TAVLIB_EXPORT int TAVLIBFileLock(int id, int seconds);
// Releases the lock `id & ~0xff`, which the calling thread holds. Returns 0, or -1.
TAVLIB_EXPORT int TAVLIBFileUnlock(int id);

// ---- Key/value files ----------------------------------------------------------------------------
//
// Here, for all of them:
// - An entry is a line with a "=" that is not its first character other than white space, and whose
//   first character other than white space is not "#". Everything else (blank lines, comments,
//   section headers) is passed over by reads and left untouched by writes, byte for byte.
// - The key is the text before the first "=", without the white space around it.
// - When the text behind the "=", without the white space around it, is enclosed in double quotes,
//   the value is what stands between them. Otherwise it is the whole text up to the line end.
// - Where a key stands more than once, the first line counts, and a write leaves only that one.
// - A value ends at a NUL byte for readers of C strings, and a key that has one is no key to them.
// - A write that could not be read back byte for byte (a value with a newline, or in quotes where
//   the line form has none; a key with a "=", and so on) is refused, and nothing is written.
// - A write replaces the file in one step and keeps owner and permissions; a new file gets mode
//   0644 less the umask. A link is followed and stays, except below /tmp, where it is taken as
//   missing by reads and replaced by writes. Writers of files in one directory wait for each other
//   for at most 30 seconds.
// - A line format is a line with its line end, in which the first "%s" stands for the key and the
//   second for the value; no other "%" is taken. A null one stands for "%s=\"%s\"\n".

// Copies the value of `key`, cut to `size` - 1 characters, into `buffer`. Returns a positive value
// when found, 0 when there is no such key, a negative value on failure. `flags` is always 0. Here:
// 1, 0 or -1, the last also for a file that is missing or cannot be read; `buffer` is written to
// only when the key is found.
TAVLIB_EXPORT int TAVLIBFileGetKeyValue(const char* path, const char* key, char* buffer, int size,
                                        int flags);
// Returns 1 when the file holds `key` with exactly `value`. `flags` is always 0. Here: 0 otherwise.
TAVLIB_EXPORT int TAVLIBFileCheckKeyValue(const char* path, const char* key, const char* value,
                                          int flags);
// Stores the listed keys that the file holds in the map. Returns their number, or -1. `separator`
// is always "=".
TAVLIB_EXPORT int TAVLIBFileGetKeys(const char* path, const TAVLIBSZLIST* keys, TAVLIBSZHASH** hash,
                                    const char* separator);
// Stores every entry of the file in the map. Returns their number, or -1.
TAVLIB_EXPORT int TAVLIBFileGetPair(const char* path, TAVLIBSZHASH** hash);
// Replaces the key's line or appends one; creates the file when it is missing. Returns 1, or -1.
TAVLIB_EXPORT int TAVLIBFileSetKeyValue(const char* path, const char* key, const char* value,
                                        const char* format);
// The same for every pair of the map, in one replacement. Lines of other keys stay. `reserved` is
// always null. Returns 1, or -1.
TAVLIB_EXPORT int TAVLIBFileSetKeys(const char* path, const TAVLIBSZHASH* hash,
                                    const void* reserved, const char* format);
// Appends a section: the line "[NAME]", then a line for each pair of the map. Returns 1, or -1.
// Here: a name with a "=" or a line end is refused.
TAVLIB_EXPORT int TAVLIBFileAddSection(const char* path, const char* section,
                                       const TAVLIBSZHASH* hash, const char* format);

// ---- Running programs ---------------------------------------------------------------------------
//
// Here, for all of them: programs start without a shell and without a copy of the host's memory;
// they inherit descriptors 0 to 2 alone, no blocked or ignored signal, and the environment. Their
// standard input is empty, and output that nobody reads goes nowhere. A host that ignores SIGCHLD
// gets true statuses all the same; one that reaps our child itself makes the call fail.

// Runs `path` with up to four arguments, the first null ending the list, and waits for it. Returns
// 0 when it exited with status 0. Here: otherwise its exit status, 128 plus the number of the
// signal that ended it, or -1 when it could not be run.
TAVLIB_EXPORT int TAVLIBExec(const char* path, const char* arg1, const char* arg2, const char* arg3,
                             const char* arg4);
// The same with a null-terminated list of arguments. Here: `options` (always 187) means nothing.
TAVLIB_EXPORT int TAVLIBExecl(const char* path, int options, const char* arg, ...);
// The same with a null-terminated vector whose first element is the program. Here: `wait` is always
// 1, and no other value is taken.
TAVLIB_EXPORT int TAVLIBExecv(const char* path, const char* const argv[], int wait);
// Starts `path` with a null-terminated list of arguments and returns a stream that reads its
// standard output, or null with errno when it cannot be started. `mode` is always "r". Here: a
// signal never cuts a read of the stream short.
TAVLIB_EXPORT FILE* TAVLIBPopen(const char* path, const char* mode, ...);
// Closes the stream, waits for its program and returns the wait status as waitpid gives it, or -1.
TAVLIB_EXPORT int TAVLIBPclose(FILE* stream);

#ifdef __cplusplus
}
#endif

#endif  // PLATFORM_TAVLIB_H_
