#include "simcluster/placement/settle.h"
#include "simcluster/tools/command_line.h"

namespace simcluster {
namespace {

// One line a node: its name, a colon and its state's words.
std::string ShowNodes(const Session& session, const Arguments&) {
  std::string lines;
  for (const std::string& host : session.cib.NodeNames()) {
    lines += host + ": " + StatusWords(session.state, session.cib, host) + "\n";
  }
  return lines;
}

}  // namespace

Outcome CrmMon(const Arguments& arguments) {
  static constexpr CommandLine kKnown[] = {{"-1 -S", ShowNodes}};
  return RunCommandLine(kKnown, arguments);
}

}  // namespace simcluster
