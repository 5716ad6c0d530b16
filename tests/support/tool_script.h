// The files through which a test and the tools that it scripts talk, in MessagePack, whose texts
// hold any bytes.
#ifndef TESTS_SUPPORT_TOOL_SCRIPT_H_
#define TESTS_SUPPORT_TOOL_SCRIPT_H_

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "simcluster/root/descriptor.h"
#include "tests/support/scripted_tool.h"

namespace test_support {

inline constexpr char kToolDirectory[] = "/run/tools";
inline constexpr char kToolCalls[] = "/run/tools/calls";  // one ToolCall after the other

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ToolAnswer, delay_milliseconds, output, error_output,
                                   linger_milliseconds, kill_signal, exit_status)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ToolCall, path, arguments, environment, descriptors, signals)

// Patterns of arguments, each with the answers that are still to be given.
using ToolScript = std::vector<std::pair<std::vector<std::string>, std::vector<ToolAnswer>>>;
inline const std::vector<std::string> kAnyArguments = {"**"};

// Where the script of the tool at `path` is kept.
inline std::string ToolScriptPath(std::string path) {
  std::ranges::replace(path, '/', '\\');
  return std::string(kToolDirectory) + "/script" + path;
}

inline std::string Packed(const nlohmann::json& value) {
  std::string bytes;
  nlohmann::json::to_msgpack(value, bytes);
  return bytes;
}

// Held while any of the files is in use.
inline simcluster::Descriptor LockTools() {
  simcluster::Descriptor lock(open(kToolDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  flock(lock.get(), LOCK_EX);
  return lock;
}

}  // namespace test_support

#endif  // TESTS_SUPPORT_TOOL_SCRIPT_H_
