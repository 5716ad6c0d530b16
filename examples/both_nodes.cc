// In what state are both nodes? Prints a line for each, and again whenever one has changed.
//
//   both_nodes        once
//   both_nodes 30     for 30 seconds
#include <tavohacore.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

// "nas-a is online (host0)"
std::string Describe(_tag_NODE_TYPE_ node, const char* place) {
  char name[64] = "";
  if (HAGetNodeHostName(node, name, sizeof name) == 0) return "no node " + std::string(place);
  const auto status = static_cast<_tag_NODE_STATUS_>(HANodeStatusGet(node));
  return std::string(name) + " is " + HANodeStatusStr(status) + " (" + place + ")";
}

// Keeps what it last printed, and prints what is new.
class Line {
 public:
  void Show(const std::string& text) {
    if (text == shown_) return;
    std::puts(text.c_str());
    std::fflush(stdout);
    shown_ = text;
  }

 private:
  std::string shown_;
};

}  // namespace

int main(int argc, char** argv) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(argc > 1 ? std::atoi(argv[1]) : 0);
  Line host0, host1;
  for (;;) {
    host0.Show(Describe(NODE_TYPE_HOST0, "host0"));
    host1.Show(Describe(NODE_TYPE_HOST1, "host1"));
    if (Clock::now() >= end) return 0;
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
}
