#include "simcluster/messages/messages.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "simcluster/root/descriptor.h"
#include "simcluster/state/cluster_state.h"

namespace simcluster {
namespace {

namespace fs = std::filesystem;

constexpr char kFileMark[] = "-fIlE-:";
constexpr int kPatienceMilliseconds = 2000;

// Whole at once: nobody must see half a message.
void WriteWhole(const std::string& path, const std::string& content) {
  const std::string whole = path + ".new";
  std::ofstream file(whole, std::ios::binary | std::ios::trunc);
  file << content;
  file.close();
  if (!file || rename(whole.c_str(), path.c_str()) != 0) {
    throw std::runtime_error("cannot write " + path + ": " + strerror(errno));
  }
}

std::string ReadWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path + ": " + strerror(errno));
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

std::string NumberName(int number) {
  char name[16];
  snprintf(name, sizeof name, "%06d", number);
  return name;
}

// The numbers of the messages that are there.
std::set<int> Numbers(const std::string& spool) {
  std::set<int> numbers;
  std::error_code none;
  for (const fs::directory_entry& entry : fs::directory_iterator(spool, none)) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") == std::string::npos) numbers.insert(stoi(name));
  }
  return numbers;
}

// A handler holds a lock on this file, in which stands the number of the last message it handled.
std::string HandlerPath(const std::string& spool) { return spool + "/handler"; }

bool IsHandled(const std::string& spool) {
  const Descriptor handler(open(HandlerPath(spool).c_str(), O_RDONLY | O_CLOEXEC));
  if (!handler || flock(handler.get(), LOCK_SH | LOCK_NB) == 0) return true;  // by nobody
  const std::set<int> numbers = Numbers(spool);
  int handled = 0;
  std::ifstream(HandlerPath(spool)) >> handled;
  return numbers.empty() || *numbers.rbegin() <= handled;
}

}  // namespace

std::string SpoolPath(const std::string& directory, const std::string& host) {
  return directory + "/messages/" + host;
}

void Deliver(const std::string& host, const std::string& message) {
  const std::string spool = SpoolPath(kSharedDirectory, host);
  fs::create_directories(spool);
  ClusterState::Change(kSharedDirectory, [&](ClusterState* state) {
    const std::string path = spool + "/" + NumberName(++state->messages_sent);
    if (message.starts_with(kFileMark)) {
      WriteWhole(path + ".file", ReadWhole(message.substr(strlen(kFileMark))));
    }
    WriteWhole(path, message);
  });
}

void WaitUntilHandled(const std::string& host) {
  const std::string spool = SpoolPath(kSharedDirectory, host);
  for (int i = 0; i < kPatienceMilliseconds && !IsHandled(spool); ++i) poll(nullptr, 0, 1);
}

MessageHandler::MessageHandler(const std::string& host, Handle handle)
    : spool_(SpoolPath(kSharedDirectory, host)), handle_(std::move(handle)) {
  fs::create_directories(spool_);
  Descriptor file(open(HandlerPath(spool_).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!file || flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
    throw std::runtime_error("cannot lock " + HandlerPath(spool_) + ": " + strerror(errno));
  }
  lock_ = std::move(file);
}

void MessageHandler::HandleNew() {
  for (const int number : Numbers(spool_)) {
    if (number <= handled_) continue;
    const std::string path = spool_ + "/" + NumberName(number);
    handle_(ReadWhole(fs::exists(path + ".file") ? path + ".file" : path));
    handled_ = number;
    if (pwrite(lock_.get(), NumberName(number).data(), NumberName(number).size(), 0) < 0) {
      throw std::runtime_error("cannot write " + HandlerPath(spool_) + ": " + strerror(errno));
    }
  }
}

}  // namespace simcluster
