#include "simcluster/daemons/node_agent.h"

#include <poll.h>
#include <sys/inotify.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "simcluster/messages/messages.h"
#include "simcluster/network/cluster_address.h"
#include "simcluster/placement/settle.h"
#include "simcluster/root/descriptor.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

constexpr size_t kCommandLength = 8;
constexpr char kLogRequest[] = "LOGREQ  ";
constexpr char kLogResponse[] = "LOGRESP ";  // ours alone, between agents
constexpr char kUnbind[] = "UNBIND  ";
constexpr char kResponsePath[] = "/tmp/ha/ha_tavolog_resp";

// The value of a line KEY="VALUE".
std::string Value(const std::string& lines, const std::string& key) {
  const std::string mark = "\n" + key + "=\"";
  const size_t begin = lines.find(mark);
  if (begin == std::string::npos) return {};
  const size_t value = begin + mark.size();
  return lines.substr(value, lines.find('"', value) - value);
}

void RecordEvent(std::string request) {
  request.erase(0, kCommandLength + 1);
  while (request.ends_with('\n')) request.pop_back();
  std::ranges::replace(request, '\n', ' ');
  std::ofstream log(kEventLog, std::ios::app);
  if (!(log << request << '\n' << std::flush)) syslog(LOG_ERR, "cannot write %s", kEventLog);
}

void AnswerLogRequest(const std::string& request) {
  const ClusterState state = ClusterState::Read(kSharedDirectory);
  const std::string requester = Value(request, "HostName");
  if (state.log_fault == "silent" || state.Find(requester) == nullptr) return;
  if (state.log_fault == "fail") return Deliver(requester, std::string(kLogResponse) + "FAIL    ");
  RecordEvent(request);
  Deliver(requester, std::string(kLogResponse) + "OK");
}

void WriteResponse(const std::string& response) {
  const std::string whole = std::string(kResponsePath) + ".new";
  fs::create_directories(fs::path(kResponsePath).parent_path());
  std::ofstream file(whole, std::ios::trunc);
  file << response.substr(kCommandLength) << '\n';
  file.close();
  if (!file || rename(whole.c_str(), kResponsePath) != 0) {
    syslog(LOG_ERR, "cannot write %s: %m", kResponsePath);
  }
}

void Leave(const std::string& host) {
  ClusterState::Change(kSharedDirectory, [&](ClusterState* state) {
    state->Find(host)->condition = "offline";
    state->Find(host)->leaving = true;
  });
}

void HandleMessage(const std::string& host, const std::string& message) {
  const std::string command = message.substr(0, kCommandLength);
  if (command == kLogRequest) {
    AnswerLogRequest(message);
  } else if (command == kLogResponse) {
    WriteResponse(message);
  } else {
    syslog(LOG_INFO, "message: %s", message.c_str());
    if (command == kUnbind) Leave(host);
  }
}

// Tells when something changes in one of some directories.
class Watch {
 public:
  Watch(std::initializer_list<std::string> directories)
      : changes_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    for (const std::string& directory : directories) {
      fs::create_directories(directory);
      if (inotify_add_watch(changes_.get(), directory.c_str(),
                            IN_MOVED_TO | IN_CREATE | IN_DELETE) < 0) {
        throw std::runtime_error("cannot watch " + directory + ": " + strerror(errno));
      }
    }
  }

  void Wait() const {
    pollfd change = {changes_.get(), POLLIN, 0};
    poll(&change, 1, -1);
    char events[4096];
    while (read(changes_.get(), events, sizeof events) > 0) {
    }
  }

 private:
  Descriptor changes_;
};

}  // namespace

void RunNodeAgent(const std::string& host, const std::function<void()>& ready) {
  openlog("ha-agent", LOG_PID, LOG_DAEMON);
  const std::string marker = ActiveMarkerPath(kSharedDirectory, host);
  MessageHandler handler(host, [&](const std::string& message) { HandleMessage(host, message); });
  const Watch watch({SpoolPath(kSharedDirectory, host), fs::path(marker).parent_path()});
  ready();
  for (bool active = false;; watch.Wait()) {
    handler.HandleNew();
    if (active == fs::exists(marker)) continue;
    active = !active;
    const Error error = active ? StartClusterAddresses() : StopClusterAddresses();
    if (!error.empty()) syslog(LOG_ERR, "%s", error.c_str());
  }
}

}  // namespace simcluster
