// Calls one operation, without and with something in its way, and says what was wrong with that:
// call_operation NAMES [MODE]. The call that a tracer is to disturb stands between two calls of
// sched_yield. Nothing is printed for a call that was right.
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>
#include <string_view>

#include "faults/operations.h"
#include "simcluster/time/virtual_time.h"
#include "tests/support/files.h"
#include "tests/support/host_state.h"

// ---- Allocations --------------------------------------------------------------------------------

namespace {

// While armed, allocation `refused` fails, and with `and_later` all after it.
struct Allocations {
  bool armed = false, and_later = false;
  int refused = 0, made = 0;
};
constinit thread_local Allocations allocations;
constinit std::atomic<long> kept = 0;  // allocations that were not given back

bool Refused() {
  if (!allocations.armed) return false;
  const int number = ++allocations.made;
  const bool refused =
      allocations.and_later ? number >= allocations.refused : number == allocations.refused;
  if (refused) errno = ENOMEM;
  return refused;
}

void* Keep(void* memory) {
  if (memory != nullptr) ++kept;
  return memory;
}

}  // namespace

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void __libc_free(void* memory);

void* malloc(size_t size) { return Refused() ? nullptr : Keep(__libc_malloc(size)); }
void* calloc(size_t count, size_t size) {
  return Refused() ? nullptr : Keep(__libc_calloc(count, size));
}
void* realloc(void* old, size_t size) {
  if (old == nullptr) return malloc(size);
  return Refused() ? nullptr : __libc_realloc(old, size);
}
void free(void* memory) {
  if (memory != nullptr) --kept;
  __libc_free(memory);
}
}

namespace faults {
namespace {

using test_support::HostState;

int verdict = 1;  // a descriptor of our own: the host's standard output may be closed

void Complain(std::string what) {
  std::ranges::replace(what, '\n', ';');
  dprintf(verdict, "%s\n", what.c_str());
}

struct Outcome {
  int result = 0;
  std::string given;
  Files files;
};

long kept_before = 0;
bool warm = false;  // libc has set itself up for such a call

// Calls the operation and returns its result; what it gave is in `given`.
int Call(const Operation& operation) {
  given = {};
  kept_before = kept;
  try {
    return operation.call();
  } catch (...) {
    allocations.armed = false;
    Complain("an exception left");
    return INT_MIN;
  }
}

Outcome After(int result) {
  Outcome outcome{result, TakeGiven(), {}};
  const long of_ours = outcome.given.capacity() > std::string().capacity() ? 1 : 0;
  const long left = kept - kept_before - of_ours;
  if (warm && left > 0) Complain("kept allocations: " + std::to_string(left));
  outcome.files = Look();
  return outcome;
}

std::set<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::set<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

// Whether a file is on its way from one content to the other in whole lines.
bool IsBetween(const std::string& text, const std::string& from, const std::string& to) {
  if (!text.empty() && text.back() != '\n') return false;
  const std::set<std::string> lines = Lines(text), old_lines = Lines(from), new_lines = Lines(to);
  return std::ranges::all_of(
             lines,
             [&](const auto& l) { return old_lines.contains(l) || new_lines.contains(l); }) &&
         std::ranges::all_of(
             old_lines, [&](const auto& l) { return !new_lines.contains(l) || lines.contains(l); });
}

using test_support::kConfFile;
using test_support::kMirrorFile;

// Whether each line of the one text is one of the other.
bool HoldsOnly(const std::string& text, const std::string& of) {
  return (text.empty() || text.back() == '\n') && std::ranges::includes(Lines(of), Lines(text));
}

std::string At(const Files& files, const std::string& path) {
  const auto file = files.find(path);
  return file == files.end() ? kNothing : file->second;
}

// What an operation finds, and what it does when nothing is in its way.
struct Expectation {
  const Operation& operation;
  Files world;
  Outcome usual;
};

Expectation Expect(const Operation& operation) {
  const Files world = World(operation);
  MakeSo(world);
  return {operation, world, After(Call(operation))};
}

// Says what is wrong with the files. Exact: they must be as usual.
void JudgeFiles(const Expectation& expected, const Files& files, bool exact) {
  std::set<std::string> paths;
  for (const Files* set : {&expected.world, &expected.usual.files, &files}) {
    for (const auto& [path, content] : *set) {
      if (!IsScript(path)) paths.insert(path);
    }
  }
  for (const std::string& path : paths) {
    const std::string now = At(files, path), old = At(expected.world, path),
                      wanted = At(expected.usual.files, path);
    if (now == wanted || (!exact && now == old)) continue;
    // The mirror file only saves time: whatever it has of the configuration is right.
    if (path == kMirrorFile &&
        (now == kNothing || HoldsOnly(now, old + At(expected.world, kConfFile) +
                                               At(expected.usual.files, kConfFile)))) {
      continue;
    }
    if (old == kNothing && wanted == kNothing) {
      Complain("left " + path);
    } else if (exact || now == kNothing || !IsBetween(now, old, wanted)) {
      const bool so_far = (expected.operation.traits & kInPlace) != 0 &&
                          (now == kNothing || wanted.starts_with(now));
      if (exact || !so_far) Complain("file " + path + " holds: " + now);
    }
  }
}

// Says what is wrong with the outcome. Strict: it must be the usual one.
void Judge(const Expectation& expected, const Outcome& outcome, bool strict) {
  const Operation& operation = expected.operation;
  const bool as_usual = outcome.result == expected.usual.result;
  if (!as_usual && (strict || std::ranges::count(operation.failures, outcome.result) == 0)) {
    Complain("result " + std::to_string(outcome.result));
  }
  const bool exact = strict || (as_usual && (operation.traits & kTolerant) == 0);
  if (exact && as_usual && outcome.given != expected.usual.given) {
    Complain("gave " + outcome.given + " instead of " + expected.usual.given);
  }
  JudgeFiles(expected, outcome.files, exact && as_usual);
}

void JudgeState(const HostState& before) {
  const HostState after = HostState::Now({});
  std::vector<std::string> changes;
  std::ranges::set_symmetric_difference(before, after, std::back_inserter(changes));
  for (const std::string& change : changes) Complain("host changed: " + change);
}

void CallCleanly(const Expectation& expected) {
  MakeSo(expected.world);
  Judge(expected, After(Call(expected.operation)), true);
}

// ---- What is in the way -------------------------------------------------------------------------

struct sigaction old_action;

void SetAction(int signal, void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigaction(signal, &action, &old_action);
}

void RestoreAction(int signal, void (*handler)(int), int flags) {
  struct sigaction now {};
  sigaction(signal, &old_action, &now);
  if (now.sa_handler != handler || (now.sa_flags & ~0x04000000) != flags) {
    Complain("changed the action of a signal");
  }
}

void Reap(int) {
  while (waitpid(-1, nullptr, WNOHANG) > 0) {
  }
}

void SetSignals(int how) {
  sigset_t all;
  sigfillset(&all);
  sigprocmask(how, &all, nullptr);
}

void StormEvery(int microseconds) {
  const itimerval interval = {{0, microseconds}, {0, microseconds}};
  setitimer(ITIMER_REAL, &interval, nullptr);
}

void LimitDescriptors(rlim_t limit) {
  rlimit now{};
  getrlimit(RLIMIT_NOFILE, &now);
  now.rlim_cur = std::min(limit, now.rlim_max);
  setrlimit(RLIMIT_NOFILE, &now);
}

constexpr size_t kSmallStack = size_t{64} * 1024;

int saved_standard[3];

void CloseStandard() {
  for (int fd = 0; fd < 3; ++fd) {
    saved_standard[fd] = fcntl(fd, F_DUPFD_CLOEXEC, 100);
    close(fd);
  }
}

void ReopenStandard() {
  for (int fd = 0; fd < 3; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) Complain("opened a standard descriptor");
    dup2(saved_standard[fd], fd);
    close(saved_standard[fd]);
  }
}

// Every name that the library creates below /tmp.
std::vector<std::string> OwnNames() {
  std::vector<std::string> names = {"/tmp/.ha.conf",
                                    "/tmp/.ha.not.running",
                                    "/tmp/.ha.status",
                                    "/tmp/.tavlib.lock.100",
                                    "/tmp/crm_conf.xml",
                                    "/tmp/ha.lsyncd.lock",
                                    "/tmp/ha/ha_fake_drbd_primary",
                                    "/tmp/ha/ha_fake_drbd_secondary",
                                    "/tmp/ha/ha_is_expanding_space",
                                    "/tmp/ha/ha_tavolog_req"};
  for (const HA_FILE_LOCK_ENTRY& lock : rgshalckList) names.emplace_back(lock.path);
  return names;
}

constexpr char kVictims[] = "/var/victims/";

// Plants something at each of those names that is free.
template <typename Plant>
void PlantAll(Plant plant) {
  std::filesystem::create_directories(kVictims);
  for (const std::string& path : OwnNames()) {
    if (At(Look(), path) != kNothing) continue;
    unlink(path.c_str());
    plant(path, kVictims + std::filesystem::path(path).filename().string());
  }
}

void CheckVictims() {
  for (const auto& entry : std::filesystem::directory_iterator(kVictims)) {
    struct stat now {};
    stat(entry.path().c_str(), &now);
    if (test_support::ReadFile(entry.path()) != "victim" || now.st_mtime != 1) {
      Complain("reached " + entry.path().string());
    }
  }
  std::filesystem::remove_all(kVictims);
  for (const std::string& path : OwnNames()) {
    if (At(Look(), path) == kNothing) unlink(path.c_str());
  }
}

void PlantVictim(const std::string& path, const std::string& victim) {
  test_support::WriteFile(victim, "victim");
  const timeval times[] = {{1, 0}, {1, 0}};
  utimes(victim.c_str(), times);
  if (symlink(victim.c_str(), path.c_str()) != 0) Complain("cannot plant " + path);
}

enum Strictness { kLoose, kStrict, kPlanted };

// A host program, or a neighbour, that makes things hard.
struct Condition {
  std::string_view name;
  Strictness strictness;
  void (*begin)();
  void (*end)();
  bool storms = false, small_stack = false;
};

const Condition kConditions[] = {
    {"signals blocked", kStrict, [] { SetSignals(SIG_BLOCK); }, [] { SetSignals(SIG_UNBLOCK); }},
    {"SIGCHLD ignored", kStrict, [] { SetAction(SIGCHLD, SIG_IGN, 0); },
     [] { RestoreAction(SIGCHLD, SIG_IGN, 0); }},
    {"no zombies", kStrict, [] { SetAction(SIGCHLD, SIG_DFL, SA_NOCLDWAIT); },
     [] { RestoreAction(SIGCHLD, SIG_DFL, SA_NOCLDWAIT); }},
    {"host reaps", kLoose, [] { SetAction(SIGCHLD, Reap, 0); },
     [] { RestoreAction(SIGCHLD, Reap, 0); }},
    {"signals all the time", kStrict,
     [] {
       SetAction(
           SIGALRM, [](int) {}, 0);
       StormEvery(300);
     },
     [] {
       StormEvery(0);
       signal(SIGALRM, SIG_DFL);
     },
     true},
    {"0 to 2 closed", kStrict, CloseStandard, ReopenStandard},
    {"no free descriptor", kLoose, [] { LimitDescriptors(3); }, [] { LimitDescriptors(1024); }},
    {"1 free descriptor", kLoose, [] { LimitDescriptors(4); }, [] { LimitDescriptors(1024); }},
    {"2 free descriptors", kLoose, [] { LimitDescriptors(5); }, [] { LimitDescriptors(1024); }},
    {"3 free descriptors", kLoose, [] { LimitDescriptors(6); }, [] { LimitDescriptors(1024); }},
    {"8 descriptors", kStrict, [] { LimitDescriptors(8); }, [] { LimitDescriptors(1024); }},
    {.name = "64 KiB of stack",
     .strictness = kStrict,
     .begin = [] {},
     .end = [] {},
     .small_stack = true},
    {"locale of its own", kStrict,
     [] {
       for (const char* name : {"de_DE.UTF-8", "tr_TR.UTF-8", "C.UTF-8"}) {
         if (setlocale(LC_ALL, name) != nullptr) return;
       }
     },
     [] { setlocale(LC_ALL, "C"); }},
    {"umask 0777", kStrict, [] { umask(0777); }, [] { umask(022); }},
    {"links planted", kPlanted, [] { PlantAll(PlantVictim); }, CheckVictims},
    {"links to nothing", kPlanted,
     [] {
       PlantAll([](const std::string& path, const std::string& victim) {
         if (symlink(victim.c_str(), path.c_str()) != 0) Complain("cannot plant " + path);
       });
     },
     CheckVictims},
    {"FIFOs planted", kPlanted,
     [] {
       PlantAll([](const std::string& path, const std::string&) { mkfifo(path.c_str(), 0666); });
     },
     CheckVictims},
};

int CallOnSmallStack(const Operation& operation) {
  struct Work {
    const Operation& operation;
    Given& given;
    int result;
  } work{operation, given, 0};
  const auto call = [](void* argument) -> void* {
    auto* const todo = static_cast<Work*>(argument);
    todo->result = Call(todo->operation);
    todo->given = std::move(given);
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kSmallStack);
  pthread_t thread;
  if (pthread_create(&thread, &attributes, call, &work) != 0) Complain("no thread");
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  return work.result;
}

void CallUnder(const Condition& condition, const Expectation& expected) {
  MakeSo(expected.world);
  closelog();
  const HostState before = HostState::Now({});
  condition.begin();
  const int result =
      condition.small_stack ? CallOnSmallStack(expected.operation) : Call(expected.operation);
  closelog();
  condition.end();
  Outcome outcome = After(result);
  if (condition.strictness == kPlanted) {
    // What stands at the names now is the neighbour's.
    outcome.files = expected.usual.files;
    outcome.given = expected.usual.given;
  }
  // A signal that comes ends the wait for the daemon's reply: that is how the channel is.
  const bool may_end =
      condition.storms && std::ranges::count(expected.operation.failures, LSYNCD_ERR_SELECT) != 0;
  Judge(expected, outcome, condition.strictness == kStrict && !may_end);
  JudgeState(before);
  CallCleanly(expected);
}

// ---- Modes --------------------------------------------------------------------------------------

// One call for a tracer to disturb, and another that must be right.
void CallDisturbed(const Expectation& expected, bool strict) {
  MakeSo(expected.world);
  closelog();  // so that the call opens the log
  const HostState before = HostState::Now({});
  sched_yield();
  const int result = Call(expected.operation);
  sched_yield();
  closelog();
  Judge(expected, After(result), strict);
  JudgeState(before);
  CallCleanly(expected);
}

// A call for each allocation that it makes, or some of them, which fails. Ends with the number of
// calls.
void CallWithoutMemory(const Expectation& expected, int step) {
  int calls = 0;
  for (const bool and_later : {false, true}) {
    for (int refused = 1;; refused += step) {
      MakeSo(expected.world);
      closelog();
      const HostState before = HostState::Now({});
      allocations = {.armed = true, .and_later = and_later, .refused = refused};
      const int result = Call(expected.operation);
      allocations.armed = false;
      const Outcome outcome = After(result);
      if (allocations.made < refused) break;
      ++calls;
      closelog();
      const std::string where = "allocation " + std::to_string(refused);
      Complain("@" + where + (and_later ? " and later" : ""));
      Judge(expected, outcome, false);
      JudgeState(before);
      CallCleanly(expected);
    }
  }
  dprintf(verdict, "#%d\n", calls);
}

// What a killed process left, and whether a call works all the same.
void CallAfterCrash(const Operation& operation) {
  const Files found = Look();
  Files world = found;
  for (const auto& [path, script] : World(operation)) {
    if (IsScript(path)) world[path] = script;
  }
  MakeSo(world);
  const int again = Call(operation);
  Expectation expected = Expect(operation);
  MakeSo([&] {
    Files files = expected.usual.files;
    for (const auto& [path, script] : expected.world) {
      if (IsScript(path)) files[path] = script;
    }
    return files;
  }());
  const int twice = Call(operation);
  if (again != expected.usual.result && again != twice) {
    Complain("the next call gave " + std::to_string(again));
  }
  JudgeFiles(expected, found, false);
}

int Main(int argc, char** argv) {
  const std::string_view names = argc > 1 ? argv[1] : "", mode = argc > 2 ? argv[2] : "";
  const auto operation = std::ranges::find(Operations(), names, &Operation::names);
  if (operation == Operations().end()) return 64;
  simcluster::SetPauseHandler([](std::chrono::nanoseconds) {});
  verdict = fcntl(1, F_DUPFD_CLOEXEC, 50);
  if (mode == "after-crash") {
    CallAfterCrash(*operation);
    return 0;
  }
  if (mode == "once") {
    sched_yield();
    operation->call();
    sched_yield();
    return 0;
  }
  errno = EMFILE;
  __halog(LOG_DEBUG, "%m");  // for which libc reads the time zone, once and for all
  const Expectation expected = Expect(*operation);
  warm = true;
  if (mode == "conditions") {
    for (const Condition& condition : kConditions) {
      Complain("@" + std::string(condition.name));
      CallUnder(condition, expected);
    }
    dprintf(verdict, "#%zu\n", std::size(kConditions));
  } else if (mode == "allocations") {
    CallWithoutMemory(expected, std::stoi(argv[3]));
  } else {
    CallDisturbed(expected, mode == "strict");
  }
  return 0;
}

}  // namespace
}  // namespace faults

int main(int argc, char** argv) { return faults::Main(argc, argv); }
