#include <tavohacore/sync.h>

#include <cstring>

#include "frame/contain.h"

namespace {

constexpr size_t kLineSize = 256;
constexpr char kErrorDescription[] = "error desc";

// Sends the command and hands every record of the reply, cut at its first colon, to `add`.
template <typename Add>
int ForEachRecord(char command, Add add) {
  char line[kLineSize] = {};
  int data = -1;
  int lock = -1;
  int count = 0;
  int result = SystemSyncInit(command, line, sizeof line, data, count, lock);
  for (int i = 0; result == 0 && i < count; ++i) {
    result = ReadLine(data, line, sizeof line);
    if (result != 0) break;
    char* const colon = strchr(line, ':');
    if (colon == nullptr) continue;
    *colon = '\0';
    result = frame::Contain<int>(LSYNCD_ERR_READ, [&] {
      add(line, colon + 1);
      return 0;
    });
  }
  SystemSyncExit(data, lock);
  return result;
}

}  // namespace

bool ToBool(char* text) { return text != nullptr && strcmp(text, "true") == 0; }

int HASystemSyncGetStatus(LsyncdStatus& status) {
  return ForEachRecord(LSYNCD_CMD_GET_STATUS, [&status](char* key, char* value) {
    if (strcmp(key, kErrorDescription) == 0) {
      status.errorDescs.emplace_back(value);
    } else {
      status.states[key] = ToBool(value);
    }
  });
}

int HASystemSyncGetComm(std::vector<LsyncdEvent>& events, int command) {
  return ForEachRecord(static_cast<char>(command), [&events](char* key, char* value) {
    events.push_back({.key = key, .value = value});
  });
}

int HASystemSyncGetEvents(std::vector<LsyncdEvent>& events) {
  return HASystemSyncGetComm(events, LSYNCD_CMD_GET_EVENTS);
}

int HASystemSyncGetAbondonedEvents(std::vector<LsyncdEvent>& events) {
  return HASystemSyncGetComm(events, LSYNCD_CMD_GET_ABANDONED_EVENTS);
}
