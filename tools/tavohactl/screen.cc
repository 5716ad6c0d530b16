#include "screen.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <string_view>

#include "output.h"

namespace tavohactl {
namespace {

constexpr std::string_view kEnter = "\033[?1049h\033[?25l";  // the other screen, no cursor
constexpr std::string_view kLeave = "\033[?25h\033[?1049l";
constexpr std::string_view kBold = "\033[1m", kPlain = "\033[0m";
constexpr std::string_view kHome = "\033[H", kRestOfLine = "\033[K", kRestOfScreen = "\033[J";

constexpr int kEndings[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// As the terminal was. Here for a signal's handler, which has nothing else to go by.
termios before;

void GiveBack() {
  // There is no help when the terminal is gone.
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, kLeave.data(), kLeave.size());
  tcsetattr(STDIN_FILENO, TCSANOW, &before);
}

// Gives the terminal back, and lets the signal do what it would have done.
void GiveBackAndEnd(int signal_number) {
  GiveBack();
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

void OnSignal(int signal_number, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigaction(signal_number, &action, nullptr);
}

}  // namespace

bool Screen::Possible() { return isatty(STDIN_FILENO) == 1 && isatty(STDOUT_FILENO) == 1; }

Screen::Screen() {
  tcgetattr(STDIN_FILENO, &before);
  for (const int ending : kEndings) OnSignal(ending, GiveBackAndEnd);
  OnSignal(SIGWINCH, [](int) {});  // has the wait for a key end
  termios raw = before;
  raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  raw.c_cc[VSUSP] = _POSIX_VDISABLE;  // a stopped program would leave the terminal like this
  tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  Print(std::string(kEnter));
}

Screen::~Screen() {
  GiveBack();
  for (const int ending : kEndings) OnSignal(ending, SIG_DFL);
}

void Screen::Show(const std::vector<std::string>& lines) const {
  winsize size{};
  ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
  // A terminal that does not know its size is taken for the smallest that is in use.
  if (size.ws_row == 0 || size.ws_col == 0) size = {24, 80, 0, 0};
  std::string text(kHome);
  for (size_t i = 0; i < lines.size() && i < size.ws_row; ++i) {
    // No line end behind the last line: the screen would scroll.
    if (i > 0) text += "\r\n";
    const std::string_view line = std::string_view(lines[i]).substr(0, size.ws_col);
    text += i == 0 ? fmt::format("{}{}{}", kBold, line, kPlain) : line;
    text += kRestOfLine;
  }
  Print(text += kRestOfScreen);
}

char Screen::WaitForKey(std::chrono::seconds time) const {
  pollfd input = {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
  const int wait = static_cast<int>(std::chrono::milliseconds(time).count());
  char key = 0;
  if (poll(&input, 1, wait) != 1) return 0;
  // A terminal that has hung up counts as one whose user quits.
  return read(STDIN_FILENO, &key, 1) == 1 ? key : 'q';
}

}  // namespace tavohactl
