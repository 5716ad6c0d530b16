// The program behind the cluster tools of a simulated node: it is the tool by whose name it was
// started, and acts out the fault that was ordered for that tool.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>

#include "simcluster/state/cluster_state.h"
#include "simcluster/tools/command_line.h"
#include "simcluster/tools/tool.h"

namespace simcluster {
namespace {

// Neither text nor lines.
std::string Noise() {
  std::string noise(1 << 20, '\xa5');
  for (size_t i = 0; i < noise.size(); i += 7) noise[i] = static_cast<char>(i / 7);
  std::ranges::replace(noise, '\n', '\0');
  return noise;
}

void Print(const std::string& text) {
  fwrite(text.data(), 1, text.size(), stdout);
  fflush(stdout);
}

// Does the tool's work under a fault. One that fails or is killed has changed nothing.
int RunUnderFault(const Tool& tool, const Arguments& arguments, const std::string& fault) {
  if (fault == "fail") {
    fprintf(stderr, "%s: a failure was ordered\n", tool.name.data());
    return 1;
  }
  if (fault == "kill") raise(SIGKILL);

  const Outcome outcome = tool.run(arguments);
  if (!outcome.error.empty()) {
    fprintf(stderr, "%s: %s\n", tool.name.data(), outcome.error.c_str());
  }
  if (fault == "hangup") {
    Print(outcome.output.substr(0, outcome.output.size() / 2));
    close(STDOUT_FILENO);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return 1;
  }
  Print(fault == "noise" ? Noise() : outcome.output);
  return outcome.status;
}

int Run(const std::string& name, const Arguments& arguments) {
  const auto* tool = std::ranges::find(kTools, name, &Tool::name);
  if (tool == std::end(kTools)) {
    fprintf(stderr, "%s: no such cluster tool\n", name.c_str());
    return kExitUsage;
  }
  const ClusterState state = ClusterState::Read(kSharedDirectory);
  const auto fault = state.faults.find(name);
  return RunUnderFault(*tool, arguments, fault == state.faults.end() ? "none" : fault->second);
}

}  // namespace
}  // namespace simcluster

int main(int argc, char** argv) {
  if (argc < 1) return simcluster::kExitUsage;
  const std::string path = argv[0];
  const std::string name = path.substr(path.rfind('/') + 1);
  try {
    return simcluster::Run(name, {argv + 1, argv + argc});
  } catch (const std::exception& error) {
    fprintf(stderr, "%s: %s\n", name.c_str(), error.what());
    return 1;
  }
}
