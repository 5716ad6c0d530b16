#include "tests/support/log_capture.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <regex>
#include <utility>

namespace test_support {
namespace {

// Returns the line in short, when it is of the module.
std::string InShort(const std::string& datagram, const std::string& module) {
  static const char* const levels[] = {"ERROR", "WARN", "NOTICE", "INFO", "DEBUG"};
  // "<11>Nov  9 12:00:00 TAG[PID]: [HA-LEVEL] MODULE:LINE: BODY"
  static const std::regex start(
      R"(<(1[1-5])>.{15} [^[]*\[[1-9]\d*\]: \[HA-(\w+)\] ([^:]+):[1-9]\d*:(?= ))");
  std::smatch parts;
  if (!std::regex_search(datagram, parts, start, std::regex_constants::match_continuous) ||
      parts[2] != levels[std::stoi(parts[1]) - (LOG_USER | LOG_ERR)]) {
    return datagram;
  }
  const std::string level = parts[2], name = parts[3], body = parts.suffix();
  if (module.empty()) return level + " " + name + ":" + body;
  return module == name ? level + body : "";
}

}  // namespace

LogCapture::LogCapture() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  const sockaddr_un address = {AF_UNIX, "/dev/log"};
  EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
      << strerror(errno);
  // The C library keeps its socket to the logger. Opened now, it is no descriptor that a test finds
  // to be new after a call.
  closelog();
  openlog(nullptr, LOG_NDELAY, LOG_USER);

  // Signals are for the test's own threads.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  reader_ = std::thread([this] {
    pollfd event = {socket_.get(), POLLIN, 0};
    while (poll(&event, 1, -1) == 1 && (event.revents & POLLHUP) == 0) {
      const std::lock_guard lock(mutex_);
      Drain();
    }
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

LogCapture::~LogCapture() {
  shutdown(socket_.get(), SHUT_RDWR);
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
  for (ssize_t size; (size = recv(socket_.get(), nullptr, 0, MSG_PEEK | MSG_TRUNC)) > 0;) {
    std::string& datagram = datagrams_.emplace_back(static_cast<size_t>(size), '\0');
    recv(socket_.get(), datagram.data(), datagram.size(), 0);
  }
}

}  // namespace test_support
