#include <tavohacore/state.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "frame/contain.h"
#include "frame/log.h"

namespace {

constexpr char kLogModule[] = "ha";
constexpr char kResourceAgents[] = "/usr/tavo/tavoha/lib/ocf/";

enum class End { kFront, kBack };
struct PathPiece {
  const char* text;
  End end;
};
// In the order of adding: a piece in front comes before those that were added earlier.
constexpr PathPiece kPathPieces[] = {
    {"/usr/tavo/tavoha/sbin:", End::kFront},
    {"/usr/tavo/tavoha/bin:", End::kFront},
    {"/usr/bin:", End::kFront},
    {":/usr/local/bin", End::kBack},
};

std::string CompletedPath() {
  const char* current = getenv("PATH");
  std::string path = current != nullptr ? current : "";
  for (const PathPiece& piece : kPathPieces) {
    if (path.find(piece.text) != std::string::npos) continue;
    path.insert(piece.end == End::kFront ? 0 : path.size(), piece.text);
  }
  return path;
}

bool SetVariable(const char* name, const char* value) {
  if (setenv(name, value, 1) == 0) return true;
  HA_LOG_ERROR_TEXT(errno);
  return false;
}

}  // namespace

int HAEnvPathInit() {
  return frame::Contain(-1, [] {
    return SetVariable("PATH", CompletedPath().c_str()) && SetVariable("OCF_ROOT", kResourceAgents)
               ? 0
               : -1;
  });
}
