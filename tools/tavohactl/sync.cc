// tavohactl sync: the file-synchronisation daemon.
#include "sync.h"

#include <fmt/format.h>
#include <tavohacore.h>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"

namespace tavohactl {
namespace {

constexpr struct {
  int code;
  const char* text;
} kFailures[] = {
    {LSYNCD_ERR_NOT_RUNNING, "the daemon does not run (/var/run/ha/lsyncd.pid)"},
    {LSYNCD_ERR_BUSY, "another program talks to the daemon; try again"},
    {LSYNCD_ERR_DATA_FIFO, "/tmp/ha.lsyncd.fifoData cannot be opened"},
    {LSYNCD_ERR_CMD_FIFO, "the daemon does not listen at /tmp/ha.lsyncd.fifoCmd"},
    {LSYNCD_ERR_SELECT, "waiting for the daemon was interrupted; try again"},
    {LSYNCD_ERR_NO_REPLY, "the daemon did not answer within two seconds"},
    {LSYNCD_ERR_LINE_TIMEOUT, "the daemon stopped in the middle of its answer"},
    {LSYNCD_ERR_READ, "the daemon's answer ended too early, or cannot be read"},
    {LSYNCD_ERR_LOCK_OPEN, "/tmp/ha.lsyncd.lock cannot be opened"},
    {LSYNCD_ERR_LOCK, "/tmp/ha.lsyncd.lock cannot be locked"},
};

void ThrowUnlessDone(int code) {
  if (code == 0) return;
  const auto* failure =
      std::ranges::find(kFailures, code, [](const auto& row) { return row.code; });
  throw Failure(failure != std::end(kFailures) ? failure->text
                                               : fmt::format("the daemon gave code {}", code));
}

Answer SyncStatus(const CLI::App&) { return {.record = SyncRecord()}; }

Answer Events(int (*get)(std::vector<LsyncdEvent>&)) {
  std::vector<LsyncdEvent> events;
  ThrowUnlessDone(get(events));
  Json list = Json::array();
  for (const LsyncdEvent& event : events) {
    list.push_back({{"key", event.key}, {"value", event.value}});
  }
  Answer answer = {.record = {{"events", list}}};
  if (list.empty()) answer.text = "no events";
  return answer;
}

Answer SyncCheck(const CLI::App&) {
  ThrowUnlessDone(HASystemSyncCheckConsistency());
  return {.record = {{"begun", true}}, .text = "the daemon has been told to check"};
}

Answer SyncPassword(const CLI::App& arguments) {
  std::string text = Text(arguments, "NUMBER");
  if (arguments.count("NUMBER") == 0) std::getline(std::cin, text);
  unsigned int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) {
    throw WrongUse("a password is a number from 0 to 4294967295");
  }
  if (HASystemSyncGenPWFile(number) != 0) {
    throw Failure("the password files in /usr/tavo/tavoha/etc/confsync could not be written");
  }
  return {.record = {{"written", true}}, .text = "both password files are written"};
}

}  // namespace

Json SyncRecord() {
  LsyncdStatus status;
  ThrowUnlessDone(HASystemSyncGetStatus(status));
  Json states = Json::array(), errors = Json::array();
  for (const auto& [state, value] : status.states) {
    states.push_back({{"state", state}, {"value", value}});
  }
  for (const std::string& error : status.errorDescs) errors.push_back({{"error", error}});
  return {{"states", states}, {"errors", errors}};
}

void AddSync(CommandTree* tree) {
  CLI::App* group =
      tree->AddGroup("sync", "Ask the file-synchronisation daemon",
                     "  tavohactl sync status\n"
                     "  tavohactl sync events --json | jq '.events | length'\n"
                     "  tavohactl sync password < secret     keeps it out of \"ps\"\n");
  tree->AddCommand(group, "status", "Print its state, and what it complains about", SyncStatus);
  tree->AddCommand(group, "events", "Print the events that it holds",
                   [](const CLI::App&) { return Events(HASystemSyncGetEvents); });
  tree->AddCommand(group, "abandoned", "Print the events that it has given up",
                   [](const CLI::App&) { return Events(HASystemSyncGetAbondonedEvents); });
  tree->AddCommand(group, "check", "Have it compare the files of both nodes", SyncCheck);
  tree->AddCommand(group, "password", "Set the password of rsync on this node", SyncPassword)
      ->add_option("NUMBER", "The password; without it, a line of standard input");
}

}  // namespace tavohactl
