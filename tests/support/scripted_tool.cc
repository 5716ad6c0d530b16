#include "tests/support/scripted_tool.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/support/files.h"
#include "tests/support/tool_script.h"

namespace test_support {

ScriptedTool::ScriptedTool(std::string path) : path_(std::move(path)) {
  namespace fs = std::filesystem;
  WriteFile(ToolScriptPath(path_), Packed(ToolScript{{kAnyArguments, {}}}));
  fs::create_directories(fs::path(path_).parent_path());
  fs::remove(path_);
  fs::create_symlink(SCRIPTED_TOOL_PROGRAM, path_);
}

void ScriptedTool::Answer(const std::vector<ToolAnswer>& answers) {
  AnswerTo(kAnyArguments, answers);
}

void ScriptedTool::AnswerTo(const std::vector<std::string>& arguments,
                            const std::vector<ToolAnswer>& answers) {
  const simcluster::Descriptor lock = LockTools();
  const std::string script_path = ToolScriptPath(path_);
  ToolScript script = nlohmann::json::from_msgpack(ReadFile(script_path));
  auto rule = std::ranges::find(script, arguments, &ToolScript::value_type::first);
  // What answers any arguments stays last.
  if (rule == script.end()) rule = script.insert(rule - 1, {arguments, {}});
  rule->second = answers;
  WriteFile(script_path, Packed(script));
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
  const simcluster::Descriptor lock = LockTools();
  std::vector<ToolCall> calls;
  for (std::ifstream file(kToolCalls); file.peek() != EOF;) {
    calls.push_back(nlohmann::json::from_msgpack(file, /*strict=*/false));
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
