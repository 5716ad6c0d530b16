// A cluster tool of a simulated node: takes the command line apart, looks at the state or changes
// it, and says what to print and how to exit.
#ifndef SIMCLUSTER_TOOLS_TOOL_H_
#define SIMCLUSTER_TOOLS_TOOL_H_

#include <string>
#include <vector>

namespace simcluster {

inline constexpr int kExitUsage = 64;

struct Outcome {
  int status = 0;
  std::string output{};
  std::string error{};  // for standard error, without the tool's name and the line end
};

// A command line that none of the library's is: the simulation must not guess at it.
inline Outcome Refuse() { return {.status = kExitUsage, .error = "arguments not understood"}; }

using Arguments = std::vector<std::string>;  // without the tool's name

Outcome CrmMon(const Arguments& arguments);

}  // namespace simcluster

#endif  // SIMCLUSTER_TOOLS_TOOL_H_
