#include "tests/support/scripted_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "simcluster/root/descriptor.h"
#include "tests/support/files.h"
#include "tests/support/tool_script.h"

namespace test_support {
namespace {

constexpr char kAnyArguments[] = "**";

simcluster::Descriptor LockTools() {
  simcluster::Descriptor lock(open(kToolLock, O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  EXPECT_EQ(flock(lock.get(), LOCK_EX), 0) << kToolLock << ": " << strerror(errno);
  return lock;
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

  Fields rules = Unpack(script);
  const std::string pattern = Pack(arguments);
  size_t at = 0;
  while (at < rules.size() && rules[at] != pattern) at += 2;
  if (at == rules.size()) {
    // What answers any arguments stays last.
    if (at > 0 && rules[at - 2] == Pack({kAnyArguments})) at -= 2;
    rules.insert(rules.begin() + static_cast<ptrdiff_t>(at), {pattern, ""});
  }
  Fields records;
  for (const ToolAnswer& answer : answers) {
    records.push_back(
        Pack({std::to_string(answer.delay_milliseconds), answer.output, answer.error_output,
              std::to_string(answer.linger_milliseconds), std::to_string(answer.kill_signal),
              std::to_string(answer.exit_status)}));
  }
  rules[at + 1] = Pack(records);
  WriteFile(script_path, Pack(rules));
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
  for (const std::string& record : Unpack(ReadFile(kToolCalls))) {
    const Fields call = Unpack(record);
    calls.push_back({.path = call[0],
                     .arguments = Unpack(call[1]),
                     .environment = Unpack(call[2]),
                     .descriptors = Unpack(call[3]),
                     .signals = call[4]});
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
