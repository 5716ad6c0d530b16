// Every operation with everything in its way, one thing at a time: sweep [--sample] [NAMES...].
//
// Each system call of each operation is made to fail in every way that it can, and for operations
// that write, a kill comes at each; each allocation is made to fail; and each operation is called
// under every hostile condition. The libraries are the built ones; strace disturbs them.
#include <cxxabi.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "faults/appliance.h"
#include "faults/operations.h"

namespace faults {
namespace {

// A storage web-service worker, whose priority operations raise.
constexpr char kWorker[] = "tavoscgi_TAVO.Storage.CGI.sweep";
constexpr char kTrace[] = "/run/trace";
constexpr char kMark[] = "sched_yield";
constexpr size_t kPrinted = 12;  // failures of an operation
constexpr int kRepeats = 4;      // of one call that an operation makes again and again
constexpr int kSampled = 12;     // disturbances of a kind and operation in a sample

// How a system call can fail. EINTR where a signal must change nothing stands behind "=".
const std::map<std::string, std::vector<const char*>> kErrors = {
    {"open", {"EINTR", "EMFILE", "ENOMEM", "EACCES", "ENOENT"}},
    {"openat", {"EINTR", "EMFILE", "ENOMEM", "EACCES", "ENOENT"}},
    {"openat2", {"=EINTR", "=ENOSYS", "EMFILE", "ENOMEM", "EACCES", "ENOENT"}},
    {"read", {"=EINTR", "EIO"}},
    {"write", {"=EINTR", "EIO", "ENOSPC"}},
    {"fsync", {"EIO", "ENOSPC"}},
    {"rename", {"EACCES", "EIO", "ENOSPC"}},
    {"renameat", {"EACCES", "EIO", "ENOSPC"}},
    {"unlink", {"EACCES", "EIO"}},
    {"unlinkat", {"EACCES", "EIO"}},
    {"mkdir", {"EACCES", "ENOSPC"}},
    {"flock", {"EAGAIN", "ENOLCK", "ENOMEM"}},
    {"newfstatat", {"ENOMEM", "EACCES"}},
    {"fstat", {"ENOMEM"}},
    {"faccessat2", {"=ENOSYS", "EACCES", "ENOMEM", "ENOENT"}},
    {"readlink", {"EACCES", "ENOMEM"}},
    {"socket", {"EMFILE", "ENOBUFS"}},
    {"connect", {"ECONNREFUSED", "EAGAIN"}},
    {"sendto", {"ECONNREFUSED", "ENOBUFS", "EINTR"}},
    {"ioctl", {"ENODEV"}},
    {"kill", {"ESRCH", "=EPERM"}},
    {"getrandom", {"=EINTR", "EAGAIN"}},
    {"pselect6", {"EINTR", "ENOMEM"}},
    {"pipe2", {"EMFILE", "ENFILE"}},
    {"clone3", {"=ENOSYS", "EAGAIN", "ENOMEM"}},
    {"wait4", {"=EINTR"}},
    {"mmap", {"ENOMEM"}},
    {"mprotect", {"ENOMEM"}},
    {"getdents64", {"ENOMEM"}},
    {"setpriority", {"EACCES"}},
    {"ioprio_set", {"EPERM"}},
    {"utimensat", {"EACCES"}},
    {"fchown", {"EPERM"}},
    {"fchmod", {"EPERM", "EIO"}},
    {"rt_sigtimedwait", {"=EINTR"}},
};

struct SystemCall {
  std::string name, line;
  int number = 0;  // among those of its name since the program started
};

// Whether this call could give the error: a FIFO has no bad blocks, what is there is there, and
// going back to an ordinary priority is never refused.
bool CanGive(const SystemCall& call, std::string_view error) {
  const auto has = [&](const char* text) { return call.line.find(text) != std::string::npos; };
  if (error == "EIO") return !has("fifo");
  if (error == "ENOENT") return has(" = -1 ");
  if (call.name == "setpriority") return has("-15");
  return call.name != "ioprio_set" || has("IOPRIO_CLASS_RT");
}

// What is no failure, and why.
struct Excuse {
  const char* where;
  const char* complaint;
};
constexpr Excuse kExcuses[] = {
    // The call that would have put it right is the one that failed.
    {" unlink", "left /"},
    {"oom_score_adj", "host changed"},
    // How a removal of a marker or a response went is not asked.
    {" unlink", "file /tmp/ha/"},
    // A file that cannot be looked at is taken as not there, and settings that cannot be read as
    // none: so the markers and the defaults are documented.
    {"faccessat2", "file /usr/tavo/tavoha/etc/ha.conf"},
    {"", "left /tmp/.ha.not.running"},
    // The dynamic loader reads, and keeps memory for the next time.
    {"libtavoha.so", "result -1"},
    {"libtavoha.so", "gave "},
    {"TAVOHADl", "kept allocations"},
    {"DL: ", "kept allocations"},
    // With no descriptor to write with, "cp -f" has removed the file already.
    {"1 free descriptor", "file /usr/tavo/tavoha/etc/ha.conf holds: (nothing)"},
};

std::string WithoutNumbers(std::string text) {
  std::erase_if(text, [](unsigned char c) { return isdigit(c) != 0; });
  return text;
}

struct Tally {
  int faults = 0, allocations = 0, kills = 0, conditions = 0, leftovers = 0;
  std::vector<std::string> failures;

  void Add(const Tally& other) {
    faults += other.faults;
    allocations += other.allocations;
    kills += other.kills;
    conditions += other.conditions;
    leftovers += other.leftovers;
    failures.insert(failures.end(), other.failures.begin(), other.failures.end());
  }
};

struct Run {
  int status = 0;
  std::string output;
};

std::string ReadAll(FILE* stream) {
  std::string text;
  for (int c; (c = getc(stream)) != EOF;) text.push_back(static_cast<char>(c));
  return text;
}

Run RunShell(const std::string& command) {
  Run run;
  FILE* const pipe = popen(("exec timeout -s KILL 100 " + command + " 2>&1").c_str(), "re");
  run.output = ReadAll(pipe);
  run.status = pclose(pipe);
  return run;
}

class Sweep {
 public:
  Sweep(const Operation& operation, bool sample) : operation_(operation), sample_(sample) {}

  Tally Do() {
    for (const char* mode : {"conditions", "allocations"}) CallMany(mode);
    const std::vector<SystemCall> calls = Record("strict");
    struct Fault {
      const SystemCall& call;
      const char* error;
    };
    std::vector<Fault> faults;
    for (const SystemCall& call : calls) {
      const auto errors = kErrors.find(call.name);
      if (errors == kErrors.end()) continue;
      for (const char* error : errors->second) {
        if (CanGive(call, error)) faults.push_back({call, error});
      }
      if (call.line.find("O_CREAT") != std::string::npos) faults.push_back({call, "ENOSPC"});
    }
    for (const Fault& fault : Chosen(faults)) Inject(fault.call, fault.error);
    if (Writes(calls)) {
      for (const SystemCall& call : Chosen(Record("once"))) Kill(call);
    }
    return tally_;
  }

 private:
  // All, or a few of them, differently spread for each operation.
  template <typename List>
  List Chosen(const List& list) const {
    if (!sample_ || list.size() <= kSampled) return list;
    List chosen;
    const size_t start = std::hash<std::string>()(operation_.names) % list.size();
    for (size_t i = 0; i < kSampled; ++i) {
      chosen.push_back(list[(start + i * list.size() / kSampled) % list.size()]);
    }
    return chosen;
  }

  std::string Driver(const std::string& mode) const {
    return std::string(kWorker) + " '" + operation_.names + "' " + mode;
  }

  void Fail(const std::string& what, const std::string& why) {
    tally_.failures.push_back(what + ": " + why);
  }

  static bool IsExcused(const std::string& where, const std::string& complaint) {
    return std::ranges::any_of(kExcuses, [&](const Excuse& excuse) {
      return where.find(excuse.where) != where.npos && complaint.starts_with(excuse.complaint);
    });
  }

  void Judge(const std::string& what, const Run& run) {
    if (run.status != 0) Fail(what, "status " + std::to_string(run.status));
    std::istringstream lines(run.output);
    std::string where = what;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("@")) {
        where = what + ", " + line.substr(1);
      } else if (!IsExcused(operation_.names + ": " + where, line)) {
        Fail(where, line);
      }
    }
  }

  // Returns the system calls of the undisturbed call.
  std::vector<SystemCall> Record(const std::string& mode) {
    MakeSo(World(operation_));
    const Run run = RunShell("strace -y -s 100 -o " + std::string(kTrace) + " " + Driver(mode));
    Judge("undisturbed", run);
    std::ifstream trace(kTrace);
    std::vector<SystemCall> calls;
    std::map<std::string, int> numbers, repeats;
    for (std::string line; std::getline(trace, line);) {
      const std::string name = line.substr(0, line.find('('));
      if (name.size() == line.size() || line.starts_with("---")) continue;
      const int number = ++numbers[name];
      if (numbers[kMark] != 1 || name == kMark) continue;
      if (++repeats[WithoutNumbers(line)] <= kRepeats) calls.push_back({name, line, number});
    }
    return calls;
  }

  Run Disturb(const SystemCall& call, const std::string& how, const std::string& mode) {
    MakeSo(World(operation_));
    // Without the filter in the kernel, which comes with -f, every system call stops the program.
    // But with it strace 6.1 sends no signal.
    const std::string filter = mode == "once" ? "" : "-f --seccomp-bpf ";
    return RunShell("strace " + filter + "-o " + std::string(kTrace) + " -e trace=" + call.name +
                    "," + kMark + " -e inject=" + call.name + ":" + how +
                    ":when=" + std::to_string(call.number) + " " + Driver(mode));
  }

  void Inject(const SystemCall& call, std::string error) {
    const bool strict = error.starts_with("=");
    if (strict) error.erase(0, 1);
    const std::string what = error + " from " + call.line;
    Judge(what, Disturb(call, "error=" + error, strict ? "strict" : ""));
    // The call must have been one of the operation's.
    std::ifstream trace(kTrace);
    int marks = 0;
    bool hit = false;
    for (std::string line; std::getline(trace, line);) {
      marks += line.find(kMark) != line.npos ? 1 : 0;
      hit = hit || (marks == 1 && line.ends_with("(INJECTED)"));
    }
    if (!hit) Fail(what, "missed");
    ++tally_.faults;
  }

  static bool Writes(const std::vector<SystemCall>& calls) {
    return std::ranges::any_of(calls, [](const SystemCall& call) {
      return call.line.find("O_CREAT") != std::string::npos || call.name.starts_with("unlink");
    });
  }

  void Kill(const SystemCall& call) {
    const std::string what = "killed at " + call.line;
    const Run killed = Disturb(call, "signal=KILL", "once");
    while (waitpid(-1, nullptr, 0) > 0) {
    }
    if (WTERMSIG(killed.status) != SIGKILL && WEXITSTATUS(killed.status) != 128 + SIGKILL) {
      return Fail(what, "lived: " + std::to_string(killed.status) + killed.output);
    }
    Run after = RunShell(Driver("after-crash"));
    // A crash may leave the temporary file, or the one by which the call handed something on.
    std::istringstream lines(std::exchange(after.output, {}));
    for (std::string line; std::getline(lines, line);) {
      const size_t dot = line.rfind('.');
      const bool passing =
          line == "left /tmp/crm_conf.xml" || line == "left /tmp/ha/ha_tavolog_req";
      if (passing || (line.starts_with("left ") && line.size() - dot == sizeof ".XXXXXX" - 1)) {
        ++tally_.leftovers;
      } else {
        after.output += line + "\n";
      }
    }
    Judge(what, after);
    ++tally_.kills;
  }

  // Has the driver call many times; the last line says how often.
  void CallMany(const std::string& mode) {
    Run run = RunShell(Driver(mode) + (sample_ ? " 5" : " 1"));
    const size_t count_at = run.output.rfind('#');
    if (count_at == std::string::npos) {
      Fail(mode, "ended early: " + run.output.substr(run.output.rfind('@') + 1));
    } else {
      (mode == "conditions" ? tally_.conditions : tally_.allocations) +=
          atoi(run.output.c_str() + count_at + 1);
      run.output.resize(count_at);
    }
    Judge(mode, run);
  }

  const Operation& operation_;
  const bool sample_;
  Tally tally_;
};

// The names of the operations that the library exports.
std::set<std::string> Exported() {
  std::set<std::string> names;
  std::ifstream symbols(SYMBOLS_FILE);
  for (std::string symbol; std::getline(symbols, symbol);) {
    const bool is_data = symbol == "rgshalckList" || symbol.starts_with("gHADLHandle");
    if (symbol.empty() || symbol[0] == '#' || is_data) continue;
    char* const plain = abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, nullptr);
    const std::string name = plain != nullptr ? plain : symbol;
    free(plain);
    names.insert(name.substr(0, name.find_first_of("[(")));
  }
  return names;
}

// The names of those that the operations are not.
std::set<std::string> Missing(std::set<std::string> names,
                              const std::vector<Operation>& operations) {
  for (const Operation& operation : operations) {
    std::istringstream called(operation.names.substr(0, operation.names.find(',')));
    for (std::string name; called >> name;) names.erase(name);
  }
  return names;
}

void PrintRow(const std::string& name, const Tally& tally) {
  printf("%-52s %7d %11d %10d %6d %8zu\n", name.c_str(), tally.faults, tally.allocations,
         tally.conditions, tally.kills, tally.failures.size());
}

void PrintFailures(const Tally& tally) {
  for (size_t i = 0; i < std::min(tally.failures.size(), kPrinted); ++i) {
    printf("    %.400s\n", tally.failures[i].c_str());
  }
  fflush(stdout);
}

// Sweeps one operation in an appliance of its own, and prints what SweepApart reads.
int SweepHere(const Operation& operation, bool sample) {
  EnterAppliance();
  std::filesystem::create_directory("/run/bin");
  std::filesystem::create_symlink(CALL_OPERATION_PROGRAM, std::string("/run/bin/") + kWorker);
  const char* const path = getenv("PATH");
  setenv("PATH", (std::string("/run/bin:") + (path != nullptr ? path : "/usr/bin")).c_str(), 1);
  const Tally tally = Sweep(operation, sample).Do();
  std::cout << tally.faults << ' ' << tally.allocations << ' ' << tally.conditions << ' '
            << tally.kills << ' ' << tally.leftovers << std::endl;
  for (const std::string& failure : tally.failures) std::cout << failure << std::endl;
  _exit(0);  // past the threads that serve the appliance
}

Tally SweepApart(const Operation& operation, bool sample) {
  Tally tally;
  FILE* const pipe = popen(("'" SWEEP_PROGRAM "' " + std::string(sample ? "--sample " : "") +
                            "--here '" + operation.names + "' 2>&1")
                               .c_str(),
                           "re");
  const std::string text = ReadAll(pipe);
  const int status = pclose(pipe);
  std::istringstream lines(text);
  lines >> tally.faults >> tally.allocations >> tally.conditions >> tally.kills >> tally.leftovers;
  if (status != 0 || !lines) tally.failures.push_back("the sweep ended: " + text);
  lines.ignore();
  for (std::string line; std::getline(lines, line);) tally.failures.push_back(line);
  return tally;
}

int SweepAll(std::vector<Operation> operations, bool sample) {
  // The long ones first.
  std::ranges::stable_sort(operations, {}, [](const auto& o) { return o.traits & kQuick; });
  printf("%-52s %7s %11s %10s %6s %8s\n", "OPERATION", "FAULTS", "ALLOCATIONS", "CONDITIONS",
         "KILLS", "FAILURES");
  std::atomic<size_t> next = 0;
  std::mutex mutex;
  Tally sum;
  std::vector<std::jthread> workers;
  for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
    workers.emplace_back([&] {
      for (size_t number; (number = next++) < operations.size();) {
        const Tally tally = SweepApart(operations[number], sample);
        const std::lock_guard lock(mutex);
        PrintRow(operations[number].names, tally);
        PrintFailures(tally);
        sum.Add(tally);
      }
    });
  }
  workers.clear();
  PrintRow("all", sum);
  for (const std::string& name : Missing(Exported(), Operations())) {
    printf("no row calls %s\n", name.c_str());
    sum.failures.push_back(name);
  }
  const size_t exported = Exported().size();
  printf(
      "%zu of %zu exported operations: %d system calls and %d allocations failed, %d hostile "
      "conditions, %d kills (%d left a temporary file): %zu failures\n",
      exported - Missing(Exported(), operations).size(), exported, sum.faults, sum.allocations,
      sum.conditions, sum.kills, sum.leftovers, sum.failures.size());
  return sum.failures.empty() ? 0 : 1;
}

int Main(int argc, char** argv) {
  bool sample = false, here = false;
  std::vector<Operation> operations;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    sample = sample || argument == "--sample";
    here = here || argument == "--here";
    std::ranges::copy_if(Operations(), std::back_inserter(operations),
                         [&](const Operation& operation) { return operation.names == argument; });
  }
  if (here) return operations.size() == 1 ? SweepHere(operations[0], sample) : 2;
  return SweepAll(operations.empty() ? Operations() : operations, sample);
}

}  // namespace
}  // namespace faults

int main(int argc, char** argv) { return faults::Main(argc, argv); }
