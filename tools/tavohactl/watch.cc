// tavohactl watch: status, roles, rules and sync state, and each change of them.
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <tavohacore.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <deque>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "command.h"
#include "output.h"
#include "screen.h"
#include "status.h"
#include "sync.h"

namespace tavohactl {
namespace {

constexpr int kShortestInterval = 1, kUsualInterval = 2, kLongestInterval = 3600;
constexpr size_t kChangesKept = 100;

// All that is watched, at one moment.
Json Look() {
  Json record = StatusRecord();
  try {
    const Json sync = SyncRecord();
    record["sync"] = sync["states"];
    record["sync_errors"] = sync["errors"];
  } catch (const Failure& failure) {
    record["sync"] = failure.what();
  }
  return record;
}

struct Watched {
  std::string name;
  std::string value;
};

// The same as single values, each with a name that tells it from all others.
std::vector<Watched> Values(const Json& record) {
  std::vector<Watched> values;
  for (const auto& [name, value] : record.items()) {
    if (!value.is_array()) values.push_back({Label(name), ValueText(value)});
  }
  for (const Json& node : record["nodes"]) {
    const std::string place = ValueText(node["node"]);
    for (const char* member : {"host_name", "status", "role", "rules"}) {
      values.push_back({fmt::format("{} {}", place, Label(member)), ValueText(node[member])});
    }
  }
  if (!record.contains("sync_errors")) return values;
  for (const Json& state : record["sync"]) {
    values.push_back({"sync " + ValueText(state["state"]), ValueText(state["value"])});
  }
  std::vector<std::string> errors;
  for (const Json& error : record["sync_errors"]) errors.push_back(ValueText(error["error"]));
  values.push_back(
      {"sync errors", errors.empty() ? "-" : fmt::format("{}", fmt::join(errors, ", "))});
  return values;
}

struct Change {
  std::time_t time;
  std::string name;
  std::optional<std::string> before, after;  // empty for what is not there
};

// A change as a line, for a reader or for a program.
std::string Line(const Change& change, bool json) {
  if (json) {
    const auto text = [](const auto& value) { return value ? Json(*value) : Json(); };
    return Json{{"time", fmt::format("{:%FT%TZ}", fmt::gmtime(change.time))},
                {"name", change.name},
                {"before", text(change.before)},
                {"after", text(change.after)}}
        .dump(-1, ' ', false, Json::error_handler_t::replace);
  }
  const std::string is = change.after.value_or("gone");
  return fmt::format("{:%T}  {}: {}", fmt::localtime(change.time), change.name,
                     change.before ? fmt::format("{} -> {}", *change.before, is) : is);
}

// What was seen last, for comparison.
class Watch {
 public:
  // Takes in what there is now, and returns how it differs; the first time, all that there is.
  std::vector<Change> TakeIn(const std::vector<Watched>& now) {
    const std::time_t time = std::time(nullptr);
    std::vector<Change> changes;
    for (const auto& [name, value] : now) {
      const std::optional<std::string> before = Find(seen_, name);
      if (before != value) changes.push_back({time, name, before, value});
    }
    for (const auto& [name, value] : seen_) {
      if (!Find(now, name)) changes.push_back({time, name, value, std::nullopt});
    }
    seen_ = now;
    return changes;
  }

 private:
  static std::optional<std::string> Find(const std::vector<Watched>& values,
                                         const std::string& name) {
    for (const Watched& watched : values) {
      if (watched.name == name) return watched.value;
    }
    return std::nullopt;
  }

  std::vector<Watched> seen_;
};

// The changes as lines, for as long as somebody reads them.
[[noreturn]] void PrintChanges(std::chrono::seconds interval, bool json) {
  Watch watch;
  for (;;) {
    for (const Change& change : watch.TakeIn(Values(Look()))) Print(Line(change, json) + "\n");
    sleep(static_cast<unsigned>(interval.count()));
  }
}

void ShowUntilKey(std::chrono::seconds interval) {
  const Screen screen;
  Watch watch;
  std::deque<std::string> changes;  // the latest first
  bool first = true;
  for (;;) {
    const Json record = Look();
    for (const Change& change : watch.TakeIn(Values(record))) {
      if (!first) changes.push_front(Line(change, false));
    }
    first = false;
    if (changes.size() > kChangesKept) changes.resize(kChangesKept);

    std::vector<std::string> lines = {
        fmt::format("tavohactl watch  {:%T}  every {} s, q quits",
                    fmt::localtime(std::time(nullptr)), interval.count()),
        ""};
    std::istringstream layout(Layout(record));
    for (std::string line; std::getline(layout, line);) lines.push_back(line);
    lines.insert(lines.end(), {"", changes.empty() ? "No change yet." : "CHANGES"});
    lines.insert(lines.end(), changes.begin(), changes.end());
    screen.Show(lines);
    if (const char key = screen.WaitForKey(interval); key == 'q' || key == 'Q') return;
  }
}

}  // namespace

void AddWatch(CommandTree* tree) {
  CLI::App* watch = tree->AddCommand(
      tree->root(), "watch", "Keep status, roles, rules and sync state on screen, with each change",
      [tree](const CLI::App& arguments) {
        const std::chrono::seconds interval(arguments["--interval"]->as<int>());
        const bool json = tree->root()->count("--json") > 0;
        if (json || !Screen::Possible()) PrintChanges(interval, json);
        ShowUntilKey(interval);
        return Answer{.record = {}, .printed = true};
      });
  watch->add_option("--interval", "Time between two looks")
      ->option_text(fmt::format("SECONDS [{}]", kUsualInterval))
      ->default_str(fmt::format("{}", kUsualInterval))
      ->check(CLI::Range(kShortestInterval, kLongestInterval));
  watch->footer(
      "Examples:\n"
      "  tavohactl watch                      until q or Ctrl-C\n"
      "  tavohactl watch >>changes.log        one line for each change\n"
      "  tavohactl watch --json | jq .name    one JSON object for each change\n");
}

}  // namespace tavohactl
