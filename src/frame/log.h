// How every file of the library reports: one line to the log, or an error record.
//
// A file that uses these has, in its anonymous namespace, the module name that its lines carry:
//   constexpr char kLogModule[] = "conf";
#ifndef FRAME_LOG_H_
#define FRAME_LOG_H_

#include <syslog.h>
#include <tavohacore/frame.h>

#include <cstring>

#include "platform/tavlib.h"

namespace frame {

enum LogPriority {
  kPriority_ERROR = LOG_ERR,
  kPriority_WARN = LOG_WARNING,
  kPriority_NOTICE = LOG_NOTICE,
  kPriority_INFO = LOG_INFO,
  kPriority_DEBUG = LOG_DEBUG,
};

}  // namespace frame

// Logs one line: HA_LOG(ERROR, "Failed to get host name of node type %d", node). errno is left as
// it was, and "%m" shows it.
#define HA_LOG(level, body, ...)                                                \
  __halog(frame::kPriority_##level, "[HA-%s] %s:%d: " body, #level, kLogModule, \
          __LINE__ __VA_OPT__(, ) __VA_ARGS__)

// Logs the system's text for an error: what a refused argument, lacking memory or a value that does
// not fit is reported with.
#define HA_LOG_ERROR_TEXT(error) HA_LOG(ERROR, "%s", strerror(error))

// Logs a failure together with the error record that says why.
#define HA_LOG_WITH_RECORD(body)                                              \
  HA_LOG(ERROR, body "[0x%04X %s:%d]", static_cast<unsigned>(TAVLIBErrGet()), \
         TAVLIBErrorGetFile(), TAVLIBErrorGetLine())

// Records why an operation failed.
#define HA_RECORD(code) TAVLIBErrSetEx(code, kLogModule, __LINE__)

namespace frame {

// The codes that the library records.
enum ErrorCode {
  kErrorNoMemory = 0x0200,
  kErrorHostNameLock = 0x0400,
  kErrorOpenTemporary = 0x0900,
  kErrorReadOomAdjustment = 0x0A00,
  kErrorWrite = 0x0B00,
  kErrorBadParameter = 0x0D00,
  kErrorRename = 0x2800,
  kErrorHostName = 0x8100,
  kErrorNotAvailable = 0xD900,
};

}  // namespace frame

#endif  // FRAME_LOG_H_
