#include "simcluster/tools/messages.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

constexpr char kFileMark[] = "-fIlE-:";
constexpr char kUnbind[] = "UNBIND  ";

// Whole at once: the spool's reader must not see half a message.
void WriteWhole(const std::string& path, const std::string& content) {
  const std::string whole = path + ".new";
  std::ofstream file(whole, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  if (!file || rename(whole.c_str(), path.c_str()) != 0) {
    throw std::runtime_error("cannot write " + path);
  }
}

std::string ReadWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

}  // namespace

std::string SpoolPath(const std::string& directory, const std::string& host) {
  return directory + "/messages/" + host;
}

void Deliver(const std::string& host, const std::string& message) {
  const fs::path spool = SpoolPath(kSharedDirectory, host);
  fs::create_directories(spool);
  ClusterState::Change(kSharedDirectory, [&](ClusterState* state) {
    char number[16];
    snprintf(number, sizeof number, "%06d", ++state->messages_sent);
    if (message.starts_with(kFileMark)) {
      WriteWhole(spool / (std::string(number) + ".file"),
                 ReadWhole(message.substr(sizeof kFileMark - 1)));
    }
    WriteWhole(spool / number, message);
    if (message.starts_with(kUnbind)) {
      state->Find(host)->condition = "offline";
      state->Find(host)->leaving = true;
    }
  });
}

}  // namespace simcluster
