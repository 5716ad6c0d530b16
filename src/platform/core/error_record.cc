#include <cstdio>

#include "platform/tavlib.h"

namespace {

struct ErrorRecord {
  int code;
  char module[64];
  int line;
};

thread_local ErrorRecord record;

}  // namespace

void TAVLIBErrSetEx(int code, const char* module, int line) {
  record.code = code;
  record.line = line;
  snprintf(record.module, sizeof record.module, "%s", module != nullptr ? module : "");
}

int TAVLIBErrGet() { return record.code; }
const char* TAVLIBErrorGetFile() { return record.module; }
int TAVLIBErrorGetLine() { return record.line; }
