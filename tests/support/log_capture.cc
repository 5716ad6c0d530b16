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
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

namespace test_support {
namespace {

LogLine Parse(const std::string& datagram) {
  LogLine line;
  line.body = datagram;
  int length = 0;
  sscanf(datagram.c_str(), "<%d>%n", &line.priority, &length);
  const size_t tag = static_cast<size_t>(length) + strlen("Nov  9 12:00:00 ");
  const size_t tag_end = datagram.find(": ", tag);
  if (length == 0 || tag_end == std::string::npos) return line;
  line.tag = datagram.substr(tag, tag_end - tag);
  const size_t bracket = line.tag.find('[');
  if (bracket != std::string::npos) {
    line.pid = atoi(line.tag.c_str() + bracket + 1);
    line.tag.resize(bracket);
  }
  line.body = datagram.substr(tag_end + 2);

  char level[16], module[64];
  length = 0;
  sscanf(line.body.c_str(), "[HA-%15[A-Z]] %63[^:]:%d:%n", level, module, &line.line, &length);
  if (length == 0 || line.body[static_cast<size_t>(length)] != ' ') return line;
  line.level = level;
  line.module = module;
  line.body.erase(0, static_cast<size_t>(length) + 1);
  return line;
}

}  // namespace

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << '<' << line.priority << "> [HA-" << line.level << "] " << line.module << ':' << line.line
       << ": " << testing::PrintToString(line.body);
}

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

std::vector<LogLine> LogCapture::Take() {
  const std::lock_guard lock(mutex_);
  Drain();
  return std::exchange(lines_, {});
}

void LogCapture::Drain() {
  for (;;) {
    char none;
    const ssize_t length = recv(socket_.get(), &none, 1, MSG_PEEK | MSG_TRUNC);
    if (length < 0) return;
    std::string datagram(static_cast<size_t>(length), '\0');
    recv(socket_.get(), datagram.data(), datagram.size(), 0);
    lines_.push_back(Parse(datagram));
  }
}

testing::Matcher<const LogLine&> Logged(const std::string& level, const std::string& module,
                                        const testing::Matcher<const std::string&>& body) {
  static const std::map<std::string, int> priorities = {{"ERROR", LOG_ERR},
                                                        {"WARN", LOG_WARNING},
                                                        {"NOTICE", LOG_NOTICE},
                                                        {"INFO", LOG_INFO},
                                                        {"DEBUG", LOG_DEBUG}};
  using testing::Field;
  return testing::AllOf(Field("level", &LogLine::level, level),
                        Field("priority", &LogLine::priority, LOG_USER | priorities.at(level)),
                        Field("module", &LogLine::module, module),
                        Field("body", &LogLine::body, body));
}

}  // namespace test_support
