#include <tavohacore/conf.h>
#include <tavohacore/peer.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "frame/file_rewrite.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ais_msg";
constexpr char kNodeTool[] = "/usr/bin/crm_node";
constexpr size_t kPeerNameSize = 1024;
constexpr size_t kMessageSize = 1024;

using Message = char[kMessageSize];

// Copies the message out of the caller's bytes: up to a NUL, and as much as is ever sent.
void CopyMessage(const void* data, size_t length, Message& message) {
  strncpy(message, static_cast<const char*>(data), std::min(length, sizeof message - 1));
}

// Puts `first_line` before what `source` holds. Returns 0 or the code to record.
int PrependLine(std::string_view first_line, FILE* source, const char* file) {
  frame::FileRewrite rewrite(file);
  if (const int error = rewrite.Open(); error != 0) return error;
  if (const int error = rewrite.Write(first_line); error != 0) return error;
  if (const int error = rewrite.Write("\n"); error != 0) return error;
  if (const int error = rewrite.CopyRest(source); error != 0) return error;
  return rewrite.Commit();
}

// Makes the file carry the message, and `argument` tell the peer so. Nothing is logged: callers
// have a message of their own.
bool PrepareFile(const void* data, size_t length, const char* file, Message& argument) {
  const platform::UniqueStream source(fopen(file, "re"));
  if (!source) return false;
  // A path cut short would send the peer to another file.
  if (HASnprintf(argument, sizeof argument, "-fIlE-:%s", file) == -1) {
    HA_RECORD(frame::kErrorBadParameter);
    return false;
  }
  Message message = {};
  CopyMessage(data, length, message);
  const int error = PrependLine(message, source.get(), file);
  if (error != 0) HA_RECORD(error);
  return error == 0;
}

}  // namespace

int SendAisMsg(void* data, unsigned int length, const char* file) {
  if (data == nullptr || length == 0) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  char host[kPeerNameSize] = {};
  if (TAVOHAGetConf(HA_CONF_HOST_REMOTE, 0, host, sizeof host) < 0) {
    HA_LOG(ERROR, "Failed to get remote host");
    return -1;
  }
  Message argument = {};
  if (file == nullptr) {
    CopyMessage(data, length, argument);
  } else if (!PrepareFile(data, length, file, argument)) {
    return -1;
  }
  const char* const command[] = {kNodeTool, "--node", host, "--mesg", argument, nullptr};
  if (TAVLIBExecv(kNodeTool, command, 1) < 0) {
    HA_LOG(ERROR, "Failed to send AIS message");
    return -1;
  }
  return 0;
}
