/// @file
/// The file-synchronisation daemon, lsyncd: its control channel, its state and events, and the
/// password files of the rsync beneath it. Nothing here is logged.
///
/// The channel is two FIFOs that the daemon makes. A client writes one command byte into
/// "/tmp/ha.lsyncd.fifoCmd" and reads lines from "/tmp/ha.lsyncd.fifoData": first the number of
/// lines that follow, then those. One exchange at a time: who has locked "/tmp/ha.lsyncd.lock"
/// talks, everyone else is turned away with LSYNCD_ERR_BUSY.
#ifndef TAVOHACORE_SYNC_H_
#define TAVOHACORE_SYNC_H_

#include <tavohacore/export.h>
#include <tavohacore/types.h>

#ifdef __cplusplus
#include <map>
#include <string>
#include <vector>
#endif

/// The command bytes.
enum {
  LSYNCD_CMD_GET_STATUS = 0x01,
  LSYNCD_CMD_GET_EVENTS = 0x02,
  LSYNCD_CMD_GET_ABANDONED_EVENTS = 0x03,
  LSYNCD_CMD_CHECK_CONSISTENCY = 0x04,
};

/// Why an exchange failed.
enum {
  LSYNCD_ERR_NOT_RUNNING = -2,   ///< "/var/run/ha/lsyncd.pid" names no living process
  LSYNCD_ERR_BUSY = -3,          ///< another exchange is under way
  LSYNCD_ERR_DATA_FIFO = -4,     ///< the data FIFO cannot be opened
  LSYNCD_ERR_CMD_FIFO = -5,      ///< the command FIFO cannot be opened: nobody may be reading it
  LSYNCD_ERR_SELECT = -6,        ///< waiting for the reply failed, also for a signal that came
  LSYNCD_ERR_NO_REPLY = -7,      ///< no reply within two seconds
  LSYNCD_ERR_LINE_TIMEOUT = -8,  ///< the daemon stopped within a line
  LSYNCD_ERR_READ = -9,          ///< the reply ended within a line, or cannot be read or held
  LSYNCD_ERR_LOCK_OPEN = -11,    ///< the lock file cannot be opened
  LSYNCD_ERR_LOCK = -12,         ///< the lock cannot be taken for another reason
};

#ifdef __cplusplus
/// What the daemon says about its state.
struct LsyncdStatus {
  std::map<std::string, bool> states;   ///< each state that the daemon names, on or off
  std::vector<std::string> errorDescs;  ///< what it complains about
};

/// One of the daemon's events.
struct LsyncdEvent {
  std::string key;    ///< what stands before the line's first ":"
  std::string value;  ///< what stands behind it
};

/// Adds the daemon's state to `status`, which is not emptied first. Returns 0 or an LSYNCD_ERR_
/// code; what was read before a failure stays. Takes two seconds and, for each line, 50 pauses of
/// 0.1 ms at most, as long as the daemon does not keep sending.
TAVOHA_EXPORT int HASystemSyncGetStatus(LsyncdStatus& status);

/// The same for the events that the daemon holds: they are added to `events`.
TAVOHA_EXPORT int HASystemSyncGetEvents(std::vector<LsyncdEvent>& events);

/// The same for the events that it has given up.
TAVOHA_EXPORT int HASystemSyncGetAbondonedEvents(std::vector<LsyncdEvent>& events);

/// The same for the reply to any command; of `command`, the low 8 bits are sent.
TAVOHA_EXPORT int HASystemSyncGetComm(std::vector<LsyncdEvent>& events, int command);

/// Has the daemon check that both nodes hold the same files, and does not wait for it. Returns 0 or
/// an LSYNCD_ERR_ code.
TAVOHA_EXPORT int HASystemSyncCheckConsistency();

/// Returns whether `text` is exactly "true". A null text is not.
TAVOHA_EXPORT bool ToBool(char* text);

/// Writes the password `password`, as decimal text, into the rsync client's password file and, for
/// the user "root", into the rsync daemon's secrets file: "rsync.pw" and "rsyncd.secrets" in
/// "/usr/tavo/tavoha/etc/confsync/", which must exist. Returns 0, or -1; files are then as far
/// written as they got.
TAVOHA_EXPORT int HASystemSyncGenPWFile(unsigned int password);

/// @name The channel's steps, for programs that speak it themselves
///
/// An exchange: descriptors set to -1, SystemSyncInit, ReadLine for each line of the count, and in
/// every case SystemSyncExit.
/// @{

/// Takes the exchange lock, empties the data FIFO and sends `command`. `buffer` of `size` bytes is
/// scratch. `lock` gets the lock file's descriptor: untouched after LSYNCD_ERR_NOT_RUNNING, -1
/// after LSYNCD_ERR_LOCK_OPEN, else open and to be given to SystemSyncExit. Returns 0 or an
/// LSYNCD_ERR_ code. Never waits.
TAVOHA_EXPORT int SendCmd(char command, char* buffer, unsigned long size, int& lock);

/// Opens the data FIFO and waits up to two seconds for a reply. `data` gets the descriptor, which
/// stays open after a failed wait, or -1. Returns 0 or an LSYNCD_ERR_ code.
TAVOHA_EXPORT int GetDataPipe(int& data);

/// Reads one line from `data` and copies it, without its line feed, into `buffer` of `size` bytes
/// as strncpy does. A line's first 255 bytes are kept, and the rest of it is passed over. Nothing
/// behind the line feed is read. Returns 0, LSYNCD_ERR_LINE_TIMEOUT or LSYNCD_ERR_READ.
TAVOHA_EXPORT int ReadLine(int data, char* buffer, int size);

/// The start of an exchange with a reply: SendCmd, GetDataPipe, and ReadLine for the number of
/// lines to come, which `count` gets. Returns 0 or the first code that is not.
TAVOHA_EXPORT int SystemSyncInit(char command, char* buffer, unsigned long size, int& data,
                                 int& count, int& lock);

/// The end of an exchange: closes `data` and `lock` where they are not -1, and removes the lock
/// file unless another exchange holds the lock. Returns 0, or -1 with errno when the file was not
/// removed: EWOULDBLOCK when it is another exchange's, ENOENT when it is gone.
TAVOHA_EXPORT int SystemSyncExit(int data, int lock);
/// @}
#endif

#endif  // TAVOHACORE_SYNC_H_
