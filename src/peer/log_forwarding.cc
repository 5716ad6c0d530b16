#include <fcntl.h>
#include <tavohacore/frame.h>
#include <tavohacore/node.h>
#include <tavohacore/peer.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "frame/file_lock.h"
#include "frame/host_name.h"
#include "frame/log.h"
#include "frame/pause.h"
#include "platform/handles.h"
#include "platform/safe_open.h"

namespace {

constexpr char kLogModule[] = "log_message";
constexpr char kRequestFile[] = "/tmp/ha/ha_tavolog_req";
constexpr char kResponseFile[] = "/tmp/ha/ha_tavolog_resp";
constexpr char kFailureWord[] = "FAIL    ";
constexpr size_t kWordLength = 8;
constexpr int kResponseChecks = 12;

struct LogRecord {
  const char* host;
  int log_class;
  int type;
  const char* event;
  const char* user;
};

bool WriteRequest(const LogRecord& record) {
  char type[16];
  char log_class[16];
  HASnprintf(type, sizeof type, "%d", record.type);
  HASnprintf(log_class, sizeof log_class, "%d", record.log_class);
  const struct {
    const char* key;
    const char* value;
  } rows[] = {
      {"HostName", record.host}, {"LogType", type},       {"LogClass", log_class},
      {"User", record.user},     {"Event", record.event},
  };
  for (const auto& row : rows) {
    if (TAVLIBFileSetKeyValue(kRequestFile, row.key, row.value, nullptr) < 0) {
      HA_LOG(ERROR, "Failed to set %s=%s to %s", row.key, row.value, kRequestFile);
      return false;
    }
  }
  return true;
}

bool WaitForResponse() {
  for (int checks = 1; TAVLIBFileExist(kResponseFile) != 1; ++checks) {
    if (checks == kResponseChecks) return false;
    frame::Pause(std::chrono::seconds(1));
  }
  return true;
}

// Any response will do; only one that is not there to be opened will not.
bool ReadResponse() {
  // Without blocking: a FIFO that somebody planted must not hold up the lock.
  const platform::UniqueFd file = platform::SafeOpen(kResponseFile, O_RDONLY | O_NONBLOCK);
  if (!file) {
    HA_LOG(ERROR, "Failed to open %s: %s", kResponseFile, strerror(errno));
    return false;
  }
  char line[16] = {};
  if (platform::RetryOnSignal([&] { return read(file.get(), line, sizeof line - 1); }) > 0 &&
      memcmp(line, kFailureWord, kWordLength) == 0) {
    HA_LOG(ERROR, "Failed to send syslog to active node.");
  }
  return true;
}

bool ExchangeWithPeer(const LogRecord& record) {
  if (!WriteRequest(record)) return false;
  if (HASendLogMessage(kRequestFile) == 0) {
    HA_LOG(ERROR, "Failed to send log message information.");
    return false;
  }
  if (!WaitForResponse()) {
    HA_LOG(ERROR, "Wait for syslog response from remote node timeout");
    return false;
  }
  return ReadResponse();
}

}  // namespace

BOOL HASendLogMessage(const char* requestPath) {
  if (requestPath == nullptr) {
    HA_LOG(ERROR, "Fail to send log message.");
    return 0;
  }
  char command[] = "LOGREQ  ";
  if (SendAisMsg(command, kWordLength, requestPath) != 0) {
    HA_LOG(ERROR, "Failed to send ais msg");
    return 0;
  }
  return 1;
}

int TAVOHALogMessageSend(int logClass, int logType, const char* event, const char* user) {
  if (event == nullptr || user == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  const int peer = HANodeStatusGet(NODE_TYPE_REMOTE);
  if (peer != NODE_STATUS_ONLINE && peer != NODE_STATUS_WARNING_ONLINE) return -1;
  char host[kHostNameSize] = {};
  if (GetLocalHostname(host) != 1) {
    HA_LOG(ERROR, "Failed to handle HA tavolog.");
    return -1;
  }
  const frame::FileLock lock(HA_LOCK_TAVOLOG_SEND, frame::kLockRetries);
  if (!lock.held()) {
    HA_LOG(ERROR, "Failed to lock");
    return -1;
  }
  const bool answered = ExchangeWithPeer(
      {.host = host, .log_class = logClass, .type = logType, .event = event, .user = user});
  unlink(kRequestFile);
  unlink(kResponseFile);
  return answered ? 0 : -1;
}
