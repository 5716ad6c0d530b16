#include "progress.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <utility>

namespace tavohactl {
namespace {

constexpr int kRedrawMilliseconds = 1000;

void WriteToTerminal(const std::string& text) {
  fputs(text.c_str(), stderr);
  fflush(stderr);
}

}  // namespace

Progress::Progress(std::string waiting_for) : waiting_for_(std::move(waiting_for)) {
  if (isatty(STDERR_FILENO) == 0) return;
  stop_ = eventfd(0, EFD_CLOEXEC);
  if (stop_ == -1) return;
  // Signals are for the thread that does the work.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] { Show(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Progress::~Progress() {
  if (thread_.joinable()) {
    eventfd_write(stop_, 1);
    thread_.join();
  }
  if (stop_ != -1) close(stop_);
}

void Progress::Show() const {
  const auto start = std::chrono::steady_clock::now();
  pollfd stop = {.fd = stop_, .events = POLLIN, .revents = 0};
  bool shown = false;
  while (poll(&stop, 1, kRedrawMilliseconds) == 0) {
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    WriteToTerminal(fmt::format("\r\033[K{} ... {}:{:02}", waiting_for_, elapsed.count() / 60,
                                elapsed.count() % 60));
    shown = true;
  }
  if (shown) WriteToTerminal("\r\033[K");
}

void AddConfirmation(CLI::App* command) {
  const std::string description = "Do it without asking";
  command->add_flag("--yes", description);
}

void Confirm(const CLI::App& arguments, const std::string& what) {
  if (arguments.count("--yes") > 0) return;
  if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
    throw WrongUse(
        fmt::format("this would {}; say --yes to have it done without a question", what));
  }
  WriteToTerminal(fmt::format("This will {}. Type \"yes\" to go on: ", what));
  std::string reply;
  std::getline(std::cin, reply);
  if (reply != "yes") throw Failure("nothing was done");
}

}  // namespace tavohactl
