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

using test_support::AppendField;
using test_support::AppendList;
using test_support::FieldReader;

constexpr int kUnscripted = 99;

struct Answer {
  int delay_milliseconds = 0;
  std::string output, error_output;
  int linger_milliseconds = 0, kill_signal = 0, exit_status = kUnscripted;
};

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

std::vector<std::string> Strings(char** array) {
  std::vector<std::string> strings;
  for (; *array != nullptr; ++array) strings.emplace_back(*array);
  return strings;
}

std::vector<std::string> OpenDescriptors() {
  std::vector<std::string> entries;
  DIR* directory = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(directory)) {
    char target[4096];
    const ssize_t length = readlinkat(dirfd(directory), entry->d_name, target, sizeof target);
    if (length < 0 || atoi(entry->d_name) == dirfd(directory)) continue;
    entries.push_back(std::string(entry->d_name) + "=" +
                      std::string(target, static_cast<size_t>(length)));
  }
  closedir(directory);
  return entries;
}

template <typename Predicate>
std::vector<std::string> SignalsWhere(Predicate predicate) {
  std::vector<std::string> signals;
  for (int signal = 1; signal < SIGRTMIN; ++signal) {
    if (predicate(signal)) signals.push_back(std::to_string(signal));
  }
  return signals;
}

std::string CallRecord(const std::string& path, char** argv) {
  std::string record;
  AppendField(path, &record);
  AppendList(Strings(argv), &record);
  AppendList(Strings(environ), &record);
  AppendList(OpenDescriptors(), &record);
  AppendList(SignalsWhere([](int signal) {
               sigset_t blocked;
               return sigprocmask(SIG_BLOCK, nullptr, &blocked) == 0 &&
                      sigismember(&blocked, signal) == 1;
             }),
             &record);
  AppendList(SignalsWhere([](int signal) {
               struct sigaction action;
               return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
             }),
             &record);
  return record;
}

bool Fits(const std::vector<std::string>& pattern, const std::vector<std::string>& arguments) {
  if (pattern == std::vector<std::string>{"**"}) return true;
  return std::equal(pattern.begin(), pattern.end(), arguments.begin(), arguments.end(),
                    [](const std::string& p, const std::string& a) { return p == "*" || p == a; });
}

Answer ReadAnswer(FieldReader* reader) {
  Answer answer;
  answer.delay_milliseconds = reader->Number();
  answer.output = reader->Text();
  answer.error_output = reader->Text();
  answer.linger_milliseconds = reader->Number();
  answer.kill_signal = reader->Number();
  answer.exit_status = reader->Number();
  return answer;
}

// Returns the answer to this call, and takes it off the script unless it is the last one.
Answer TakeAnswer(const std::string& script_path, const std::vector<std::string>& arguments) {
  const std::string script = ReadWhole(script_path);
  std::string rest;
  Answer answer;
  bool found = false, changed = false;
  for (FieldReader rules(script); !rules.AtEnd();) {
    const std::vector<std::string> pattern = rules.List();
    std::string answers = rules.Text();
    if (!found && Fits(pattern, arguments) && !answers.empty()) {
      found = true;
      FieldReader reader(answers);
      answer = ReadAnswer(&reader);
      changed = !reader.AtEnd();
      if (changed) answers = std::string(reader.rest());
    }
    AppendList(pattern, &rest);
    AppendField(answers, &rest);
  }
  if (changed) WriteTo(script_path, O_TRUNC, rest);
  return answer;
}

}  // namespace

int main(int argc, char** argv) {
  // Not argv[0], which the caller is free to choose.
  const std::string path = reinterpret_cast<const char*>(getauxval(AT_EXECFN));  // NOLINT
  const std::string call = CallRecord(path, argv);

  const int lock = open(test_support::kToolLock, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  flock(lock, LOCK_EX);
  WriteTo(test_support::kToolCalls, O_APPEND, call);
  const Answer answer =
      TakeAnswer(test_support::ToolScriptPath(path), Strings(argv + std::min(argc, 1)));
  close(lock);

  Wait(answer.delay_milliseconds);
  WriteAll(STDOUT_FILENO, answer.output);
  WriteAll(STDERR_FILENO, answer.error_output);
  if (answer.linger_milliseconds > 0) {
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    Wait(answer.linger_milliseconds);
  }
  if (answer.kill_signal != 0) raise(answer.kill_signal);
  return answer.exit_status;
}
