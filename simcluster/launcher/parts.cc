#include "simcluster/launcher/parts.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

const fs::path& OwnDirectory() {
  static const fs::path directory = fs::read_symlink("/proc/self/exe").parent_path();
  return directory;
}

}  // namespace

fs::path Part(std::string_view name) { return OwnDirectory() / name; }

fs::path Tree() { return OwnDirectory().parent_path().parent_path(); }

bool TreeIsTheMachines() { return Tree() == "/usr"; }

}  // namespace simcluster
