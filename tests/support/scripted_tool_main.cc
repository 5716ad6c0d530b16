// The program behind every scripted tool: notes how it was called, and does what the script of the
// path at which it was started says. Linked statically and free of streams, because a test may run
// it hundreds of times.
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/tool_script.h"

namespace {

using test_support::Fields;
using test_support::Pack;
using test_support::Unpack;

std::string ReadWhole(const std::string& path) {
  std::string text;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  char block[65536];
  for (ssize_t length; (length = read(file, block, sizeof block)) > 0;) {
    text.append(block, static_cast<size_t>(length));
  }
  close(file);
  return text;
}

// A reader that goes away ends this program by SIGPIPE, as it would end any other.
void WriteAll(int file, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t length = write(file, text.data() + done, text.size() - done);
    if (length < 0) return;
    done += static_cast<size_t>(length);
  }
}

void WriteTo(const std::string& path, int flags, const std::string& text) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666);
  WriteAll(file, text);
  close(file);
}

void Wait(int milliseconds) {
  const timespec length = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
  nanosleep(&length, nullptr);
}

Fields Strings(char** array) {
  Fields strings;
  for (; *array != nullptr; ++array) strings.emplace_back(*array);
  return strings;
}

Fields OpenDescriptors() {
  Fields entries;
  DIR* directory = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(directory)) {
    char target[4096];
    const ssize_t length = readlinkat(dirfd(directory), entry->d_name, target, sizeof target);
    if (length < 0 || atoi(entry->d_name) == dirfd(directory)) continue;
    entries.push_back(std::string(entry->d_name) + "=" +
                      std::string(target, static_cast<size_t>(length)));
  }
  closedir(directory);
  std::ranges::sort(entries);
  return entries;
}

std::string Signals() {
  const std::string status = ReadWhole("/proc/self/status");
  const size_t blocked = status.find("SigBlk:"), caught = status.find("SigCgt:");
  return status.substr(blocked, caught - blocked);
}

bool Fits(const Fields& pattern, const Fields& arguments) {
  if (pattern == Fields{"**"}) return true;
  return std::equal(pattern.begin(), pattern.end(), arguments.begin(), arguments.end(),
                    [](const std::string& p, const std::string& a) { return p == "*" || p == a; });
}

// Returns the answer to this call, and takes it off the script unless it is the last one.
Fields TakeAnswer(const std::string& script_path, const Fields& arguments) {
  Fields rules = Unpack(ReadWhole(script_path));
  for (size_t i = 0; i < rules.size(); i += 2) {
    Fields answers = Unpack(rules[i + 1]);
    if (answers.empty() || !Fits(Unpack(rules[i]), arguments)) continue;
    Fields answer = Unpack(answers[0]);
    if (answers.size() > 1) {
      answers.erase(answers.begin());
      rules[i + 1] = Pack(answers);
      WriteTo(script_path, O_TRUNC, Pack(rules));
    }
    return answer;
  }
  constexpr char kUnscripted[] = "99";
  return {"0", "", "", "0", "0", kUnscripted};
}

}  // namespace

int main(int argc, char** argv) {
  // Not argv[0], which the caller is free to choose.
  const std::string path = reinterpret_cast<const char*>(getauxval(AT_EXECFN));  // NOLINT
  const std::string call =
      Pack({path, Pack(Strings(argv)), Pack(Strings(environ)), Pack(OpenDescriptors()), Signals()});

  const int lock = open(test_support::kToolLock, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  flock(lock, LOCK_EX);
  WriteTo(test_support::kToolCalls, O_APPEND, Pack({call}));
  const Fields answer =
      TakeAnswer(test_support::ToolScriptPath(path), Strings(argv + std::min(argc, 1)));
  close(lock);

  const auto number = [&](size_t field) { return atoi(answer[field].c_str()); };
  Wait(number(0));
  WriteAll(STDOUT_FILENO, answer[1]);
  WriteAll(STDERR_FILENO, answer[2]);
  if (const int linger = number(3); linger > 0) {
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    Wait(linger);
  }
  if (const int signal = number(4); signal != 0) raise(signal);
  return number(5);
}
