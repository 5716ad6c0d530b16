#include "tests/support/log_capture.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

namespace test_support {
namespace {

// Returns the line in short, when it is of the module.
std::string InShort(const std::string& datagram, const std::string& module) {
  static const std::map<std::string, int> priorities = {{"ERROR", LOG_ERR},
                                                        {"WARN", LOG_WARNING},
                                                        {"NOTICE", LOG_NOTICE},
                                                        {"INFO", LOG_INFO},
                                                        {"DEBUG", LOG_DEBUG}};
  // "<11>Nov  9 12:00:00 TAG[PID]: [HA-LEVEL] MODULE:LINE: BODY"
  int priority = 0, process = 0, line = 0, length = 0;
  char level[16], name[64];
  sscanf(datagram.c_str(), "<%d>%*15c %*[^[][%d]: [HA-%15[A-Z]] %63[^:]:%d:%n", &priority, &process,
         level, name, &line, &length);
  if (length == 0 || datagram[static_cast<size_t>(length)] != ' ' || process < 1 || line < 1 ||
      !priorities.contains(level) || priority != (LOG_USER | priorities.at(level))) {
    return datagram;
  }
  const std::string body = datagram.substr(static_cast<size_t>(length));
  if (module.empty()) return std::string(level) + " " + name + ":" + body;
  return module == name ? level + body : "";
}

}  // namespace

LogCapture::LogCapture()
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      stop_(eventfd(0, EFD_CLOEXEC)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strcpy(address.sun_path, "/dev/log");
  if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    ADD_FAILURE() << "cannot bind /dev/log: " << strerror(errno);
  }
  // The C library keeps its socket to the logger. Opened now, it is no descriptor that a test finds
  // to be new after a call.
  closelog();
  openlog(nullptr, LOG_NDELAY, LOG_USER);

  // Signals are for the test's own threads.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  reader_ = std::thread([this] {
    pollfd events[] = {{socket_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
    while (poll(events, 2, -1) >= 0 && events[1].revents == 0) {
      const std::lock_guard lock(mutex_);
      Drain();
    }
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

LogCapture::~LogCapture() {
  eventfd_write(stop_.get(), 1);
  reader_.join();
  unlink("/dev/log");
}

std::string LogCapture::Take(const std::string& module) {
  const std::lock_guard lock(mutex_);
  Drain();
  std::string lines;
  for (const std::string& datagram : std::exchange(datagrams_, {})) {
    const std::string line = InShort(datagram, module);
    lines += (lines.empty() || line.empty() ? "" : "; ") + line;
  }
  return lines;
}

void LogCapture::Drain() {
  for (;;) {
    char none;
    const ssize_t length = recv(socket_.get(), &none, 1, MSG_PEEK | MSG_TRUNC);
    if (length < 0) return;
    std::string datagram(static_cast<size_t>(length), '\0');
    recv(socket_.get(), datagram.data(), datagram.size(), 0);
    datagrams_.push_back(std::move(datagram));
  }
}

}  // namespace test_support
