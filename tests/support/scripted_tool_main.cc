// The program behind every scripted tool: notes how it was called, and does what the script of the
// path at which it was started says. Linked statically, because a test may run it hundreds of
// times.
#include <signal.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "tests/support/host_state.h"
#include "tests/support/tool_script.h"

namespace {

using namespace test_support;
using Strings = std::vector<std::string>;

Strings Environment() {
  char** end = environ;
  while (*end != nullptr) ++end;
  return {environ, end};
}

std::string Signals() {
  std::ifstream status("/proc/self/status");
  std::string signals;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("SigBlk") || line.starts_with("SigIgn")) signals += line + "\n";
  }
  return signals;
}

bool Fits(const Strings& pattern, const Strings& arguments) {
  return pattern == kAnyArguments ||
         std::ranges::equal(pattern, arguments, [](const std::string& p, const std::string& a) {
           return p == "*" || p == a;
         });
}

// Returns the answer to this call, and takes it off the script unless it is the last one. A host
// may leave its tools no descriptor to read the script with: then there is none.
ToolAnswer TakeAnswer(const std::string& script_path, const Strings& arguments) {
  std::ifstream file(script_path);
  const auto packed =
      nlohmann::json::from_msgpack(file, /*strict=*/true, /*allow_exceptions=*/false);
  ToolScript script;
  if (!packed.is_discarded()) packed.get_to(script);
  for (auto& [pattern, answers] : script) {
    if (answers.empty() || !Fits(pattern, arguments)) continue;
    const ToolAnswer answer = answers[0];
    if (answers.size() > 1) {
      answers.erase(answers.begin());
      std::ofstream(script_path) << Packed(script);
    }
    return answer;
  }
  return {.exit_status = 99};
}

ToolAnswer NoteAndAnswer(const ToolCall& call) {
  const simcluster::Descriptor lock = LockTools();
  std::ofstream(kToolCalls, std::ios::app) << Packed(call);
  return TakeAnswer(ToolScriptPath(call.path),
                    {call.arguments.begin() + !call.arguments.empty(), call.arguments.end()});
}

}  // namespace

int main(int argc, char** argv) {
  // Not argv[0], which the caller is free to choose.
  const char* path = reinterpret_cast<const char*>(getauxval(AT_EXECFN));  // NOLINT
  const ToolAnswer answer =
      NoteAndAnswer({path, {argv, argv + argc}, Environment(), OpenDescriptors(), Signals()});
  usleep(static_cast<useconds_t>(answer.delay_milliseconds) * 1000);
  // A reader that goes away ends this program by SIGPIPE, as it would end any other.
  fwrite(answer.output.data(), 1, answer.output.size(), stdout);
  fflush(stdout);
  fwrite(answer.error_output.data(), 1, answer.error_output.size(), stderr);
  if (answer.linger_milliseconds > 0) {
    fclose(stdout);
    fclose(stderr);
    usleep(static_cast<useconds_t>(answer.linger_milliseconds) * 1000);
  }
  raise(answer.kill_signal);
  return answer.exit_status;
}
