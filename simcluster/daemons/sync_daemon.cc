#include "simcluster/daemons/sync_daemon.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "simcluster/root/descriptor.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

constexpr char kCommandFifo[] = "/tmp/ha.lsyncd.fifoCmd";
constexpr char kDataFifo[] = "/tmp/ha.lsyncd.fifoData";
constexpr char kPidFile[] = "/var/run/ha/lsyncd.pid";
constexpr int kPatienceMilliseconds = 2000;  // for a client to fetch its answer

struct Answer {
  char command;
  const char* file;
};
// The command 4, a consistency check, has none.
constexpr Answer kAnswers[] = {{1, "status"}, {2, "events"}, {3, "abandoned"}};

Descriptor OpenFifo(const char* path, int flags) {
  return Descriptor(open(path, flags | O_CLOEXEC));
}

// The number of lines in a file, and the lines.
std::string Reply(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream lines;
  int count = 0;
  for (std::string line; std::getline(file, line); ++count) lines << line << '\n';
  return std::to_string(count) + "\n" + lines.str();
}

// What becomes of a reply under a fault that was ordered.
std::string Spoil(const std::string& reply, const std::string& fault) {
  if (fault == "cut") return reply.substr(0, reply.size() - 2);
  if (fault == "noise") return std::string(4096, '\xa5');
  return reply;
}

// Gives the reply to the client, once that listens; not when it has gone, nor when there is another
// that has sent its command since.
void Send(const std::string& reply, int commands) {
  Descriptor data;
  for (int i = 0; i < kPatienceMilliseconds && !data; ++i) {
    data = OpenFifo(kDataFifo, O_WRONLY | O_NONBLOCK);
    pollfd next = {commands, POLLIN, 0};
    if (poll(&next, 1, data ? 0 : 1) != 0) return;
  }
  if (!data || fcntl(data.get(), F_SETFL, 0) != 0) return;
  for (size_t sent = 0; sent < reply.size();) {
    const ssize_t length = write(data.get(), reply.data() + sent, reply.size() - sent);
    if (length < 0 && errno != EINTR) return;
    sent += static_cast<size_t>(std::max<ssize_t>(length, 0));
  }
}

}  // namespace

void RunSyncDaemon(const std::function<void()>& ready) {
  signal(SIGPIPE, SIG_IGN);
  for (const char* fifo : {kCommandFifo, kDataFifo}) {
    if (mkfifo(fifo, 0660) != 0 && errno != EEXIST) {
      throw std::runtime_error(std::string("cannot make ") + fifo + ": " + strerror(errno));
    }
  }
  // Open for writing too, so that it never ends.
  const Descriptor commands = OpenFifo(kCommandFifo, O_RDWR);
  fs::create_directories(fs::path(kPidFile).parent_path());
  if (!commands || !(std::ofstream(kPidFile) << getpid() << std::endl)) {
    throw std::runtime_error(std::string("cannot write ") + kPidFile);
  }
  ready();
  for (char command;;) {
    if (read(commands.get(), &command, 1) != 1) continue;
    const auto* answer = std::ranges::find(kAnswers, command, &Answer::command);
    const std::string fault = ClusterState::Read(kSharedDirectory).sync_fault;
    if (answer == std::end(kAnswers) || fault == "stall") continue;
    Send(Spoil(Reply(std::string(kSyncDirectory) + "/" + answer->file), fault), commands.get());
  }
}

}  // namespace simcluster
