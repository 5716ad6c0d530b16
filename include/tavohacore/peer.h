/// @file
/// Messages to the peer node: commands, log records, and work for the peer's disks.
///
/// A message is a command word of eight characters followed by its argument. The cluster's
/// messaging layer carries it; nothing here waits for the peer to act on it, except
/// TAVOHALogMessageSend.
#ifndef TAVOHACORE_PEER_H_
#define TAVOHACORE_PEER_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Has the event text `event` of the user `user` recorded in the peer's event log, and waits for
/// the peer's answer. Returns 0 when the peer answered, even that it failed (logged as ERROR); else
/// -1: at once and silently when the peer is not online, with a logged ERROR otherwise. One
/// exchange at a time (HA_LOCK_TAVOLOG_SEND), through "/tmp/ha/ha_tavolog_req" and
/// "/tmp/ha/ha_tavolog_resp", which are gone afterwards. Waits up to 10 seconds for the lock and 11
/// for the answer.
TAVOHA_EXPORT int TAVOHALogMessageSend(int logClass, int logType, const char* event,
                                       const char* user);

/// Asks the peer to run a S.M.A.R.T. test on `disk`, for example "/dev/sda" (command "SMARTEST").
/// Returns 0, or -1 with a logged ERROR. Of the name, 1015 characters reach the peer; one of 1024
/// or more is refused.
TAVOHA_EXPORT int TAVOHASmartRemoteRun(const char* disk);

/// Asks the peer to bring its system partitions in line (command "SYNCMD01"). Returns 0, or -1 with
/// a logged ERROR.
TAVOHA_EXPORT int TAVOHASetRemoteSysPart(void);

/// Asks the peer to trim the SSD-backed space at `spacePath` (command "SSD_TRIM"). Results and
/// limits as TAVOHASmartRemoteRun.
TAVOHA_EXPORT int TAVOHASSDRemoteTrim(const char* spacePath);

#ifdef __cplusplus
}  // extern "C"

/// Sends one message to the peer with "/usr/bin/crm_node --node HOST --mesg TEXT" and waits for the
/// tool. The message is what stands in the `length` bytes at `data`, up to a NUL and at most 1023
/// bytes. With a `file`, the message is put before the file's content as its first line, in one
/// replacement that leaves the file readable and writable by its owner only, and the peer is sent
/// the file's path instead. Returns 0 when the tool ran, whatever it says, else -1: logged as ERROR
/// for no message, no peer host name and a tool that cannot be run; silent for a file that cannot
/// be opened; with error record 0x0D00 (path of more than 1016 characters), 0x0900, 0x0B00 or
/// 0x2800 (temporary file, reading or writing, renaming) and the file unchanged otherwise. Writers
/// of one file must exclude each other.
TAVOHA_EXPORT int SendAisMsg(void* data, unsigned int length, const char* file);

/// Sends the log request in the file `requestPath` to the peer (command "LOGREQ  "). Returns 1, or
/// 0 with a logged ERROR.
TAVOHA_EXPORT BOOL HASendLogMessage(const char* requestPath);
#endif

#endif  // TAVOHACORE_PEER_H_
