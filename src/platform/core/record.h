// How every file of the platform library says why an operation failed.
//
// A file that uses this has, in its anonymous namespace, the module name that its records carry:
//   constexpr char kModule[] = "files";
#ifndef PLATFORM_CORE_RECORD_H_
#define PLATFORM_CORE_RECORD_H_

#include <exception>

#include "platform/tavlib.h"

namespace tavocore {

// The codes that tavlib.h documents.
enum ErrorCode {
  kErrorNoMemory = 0x0200,
  kErrorProcess = 0x0300,
  kErrorLock = 0x0400,
  kErrorNoFile = 0x0700,
  kErrorNoKey = 0x0800,
  kErrorOpen = 0x0900,
  kErrorRead = 0x0A00,
  kErrorWrite = 0x0B00,
  kErrorBadParameter = 0x0D00,
  kErrorRename = 0x2800,
};

// Does `work` and returns its result, or `failure` with a record when memory ran out: callers are C
// as well as C++, and no exception may reach them. (Only standard exceptions are held: the
// unwinding of a cancelled thread must go on.)
template <typename Result, typename Work>
Result Contain(const char* module, Result failure, Work&& work, int line = __builtin_LINE()) {
  try {
    return work();
  } catch (const std::exception&) {
    TAVLIBErrSetEx(kErrorNoMemory, module, line);
    return failure;
  }
}

}  // namespace tavocore

#define TAVLIB_RECORD(code) TAVLIBErrSetEx(tavocore::code, kModule, __LINE__)

#endif  // PLATFORM_CORE_RECORD_H_
