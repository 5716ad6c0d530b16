// Each operation logs under a module name of its own.
#include <tavohacore/peer.h>

#include <cstring>

#include "frame/log.h"

namespace {

constexpr size_t kWordLength = 8;
constexpr size_t kArgumentSize = 1024;

// A command word of eight characters and the argument that follows it.
class Command {
 public:
  explicit Command(const char* word) {
    memset(text_, ' ', sizeof text_);
    memcpy(text_, word, kWordLength);
  }

  // Returns false for an argument that is missing or does not fit.
  bool SetArgument(const char* argument) {
    return argument != nullptr &&
           HASnprintf(text_ + kWordLength, kArgumentSize, "%s", argument) != -1;
  }

  int Send() { return SendAisMsg(text_, sizeof text_, nullptr); }

 private:
  char text_[kWordLength + kArgumentSize];
};

}  // namespace

int TAVOHASmartRemoteRun(const char* disk) {
  constexpr char kLogModule[] = "disk";
  Command command("SMARTEST");
  if (!command.SetArgument(disk)) {
    HA_LOG(ERROR, "Failed to do remote disk S.M.A.R.T test");
    return -1;
  }
  if (command.Send() != 0) {
    HA_LOG(ERROR, "Failed to send ais");
    return -1;
  }
  return 0;
}

int TAVOHASSDRemoteTrim(const char* spacePath) {
  constexpr char kLogModule[] = "space";
  Command command("SSD_TRIM");
  if (!command.SetArgument(spacePath)) {
    HA_LOG(ERROR, "Failed to set space path for remote sshd trim");
    return -1;
  }
  if (command.Send() != 0) {
    HA_LOG(ERROR, "Failed to send ais");
    return -1;
  }
  return 0;
}

int TAVOHASetRemoteSysPart() {
  constexpr char kLogModule[] = "ha_set_remote_sys_part";
  char word[] = "SYNCMD01";
  if (SendAisMsg(word, kWordLength, nullptr) != 0) {
    HA_LOG(ERROR, "SendAisMsg failed");
    return -1;
  }
  return 0;
}
