#include "tests/support/scripted_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "simcluster/root/descriptor.h"
#include "tests/support/files.h"
#include "tests/support/tool_script.h"

namespace test_support {
namespace {

struct Rule {
  std::vector<std::string> arguments;
  std::string answers;  // as a record
};

constexpr char kAnyArguments[] = "**";

simcluster::Descriptor LockTools() {
  simcluster::Descriptor lock(open(kToolLock, O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  EXPECT_EQ(flock(lock.get(), LOCK_EX), 0) << kToolLock << ": " << strerror(errno);
  return lock;
}

std::string AnswersRecord(const std::vector<ToolAnswer>& answers) {
  std::string record;
  for (const ToolAnswer& answer : answers) {
    AppendField(std::to_string(answer.delay_milliseconds), &record);
    AppendField(answer.output, &record);
    AppendField(answer.error_output, &record);
    AppendField(std::to_string(answer.linger_milliseconds), &record);
    AppendField(std::to_string(answer.kill_signal), &record);
    AppendField(std::to_string(answer.exit_status), &record);
  }
  return record;
}

std::vector<int> Numbers(const std::vector<std::string>& texts) {
  std::vector<int> numbers(texts.size());
  std::ranges::transform(texts, numbers.begin(), [](const auto& text) { return stoi(text); });
  return numbers;
}

// Splits "name=value" entries.
std::map<std::string, std::string> Pairs(const std::vector<std::string>& entries) {
  std::map<std::string, std::string> pairs;
  for (const std::string& entry : entries) {
    const size_t equal = entry.find('=');
    if (equal != std::string::npos) pairs[entry.substr(0, equal)] = entry.substr(equal + 1);
  }
  return pairs;
}

}  // namespace

ScriptedTool::ScriptedTool(std::string path) : path_(std::move(path)) {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::create_directories(kToolDirectory, error);
  fs::create_directories(fs::path(path_).parent_path(), error);
  fs::remove(path_, error);
  fs::create_symlink(SCRIPTED_TOOL_PROGRAM, path_, error);
  EXPECT_FALSE(error) << "cannot install " << path_ << ": " << error.message();
}

void ScriptedTool::Answer(const std::vector<ToolAnswer>& answers) {
  AnswerTo({kAnyArguments}, answers);
}

void ScriptedTool::AnswerTo(const std::vector<std::string>& arguments,
                            const std::vector<ToolAnswer>& answers) {
  const simcluster::Descriptor lock = LockTools();
  const std::string script_path = ToolScriptPath(path_);
  const std::string script = Exists(script_path) ? ReadFile(script_path) : "";

  std::vector<Rule> rules;
  for (FieldReader reader(script); !reader.AtEnd();) {
    rules.push_back({.arguments = reader.List(), .answers = reader.Text()});
  }
  auto same = std::ranges::find(rules, arguments, &Rule::arguments);
  if (same == rules.end()) {
    // What answers any arguments stays last.
    const bool has_any = !rules.empty() && rules.back().arguments.front() == kAnyArguments;
    same = rules.insert(has_any ? rules.end() - 1 : rules.end(), Rule{arguments, ""});
  }
  same->answers = AnswersRecord(answers);

  std::string changed;
  for (const Rule& rule : rules) {
    AppendList(rule.arguments, &changed);
    AppendField(rule.answers, &changed);
  }
  WriteFile(script_path, changed);
}

std::string ToolCall::CommandLine() const {
  std::string line = path;
  for (size_t i = 1; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const bool plain = !argument.empty() && argument.find(' ') == std::string::npos;
    line += plain ? " " + argument : " '" + argument + "'";
  }
  return line;
}

std::vector<ToolCall> TakeToolCalls() {
  std::vector<ToolCall> calls;
  if (!Exists(kToolCalls)) return calls;
  const simcluster::Descriptor lock = LockTools();
  const std::string record = ReadFile(kToolCalls);
  for (FieldReader reader(record); !reader.AtEnd();) {
    ToolCall call;
    call.path = reader.Text();
    call.arguments = reader.List();
    call.environment = Pairs(reader.List());
    for (const auto& [number, target] : Pairs(reader.List())) {
      call.descriptors[atoi(number.c_str())] = target;
    }
    call.blocked_signals = Numbers(reader.List());
    call.ignored_signals = Numbers(reader.List());
    calls.push_back(std::move(call));
  }
  unlink(kToolCalls);
  return calls;
}

std::vector<std::string> TakeCommandLines() {
  std::vector<std::string> lines;
  for (const ToolCall& call : TakeToolCalls()) lines.push_back(call.CommandLine());
  return lines;
}

}  // namespace test_support
