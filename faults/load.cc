// The library under load: load soak [CALLS], load crowd [PROCESSES], load threads [ROUNDS]. Each
// prints what it measured, and fails when something was lost, was left behind or grew.
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "faults/appliance.h"
#include "faults/operations.h"
#include "simcluster/time/virtual_time.h"
#include "tests/support/files.h"
#include "tests/support/host_state.h"

#if defined(__SANITIZE_THREAD__)
// A race ends the program at once: it does not end in the way that would report it later.
extern "C" const char* __tsan_default_options() { return "halt_on_error=1"; }
#endif

namespace faults {
namespace {

using test_support::HostState;
using Clock = std::chrono::system_clock;  // the other one is virtual

int failures = 0;

void Require(bool holds, const std::string& what) {
  if (holds) return;
  ++failures;
  fprintf(stderr, "load: %s\n", what.c_str());
}

double Since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Runs `work` in a child and returns its exit status, or 255.
pid_t Start(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child != 0) return child;
  work();
  fflush(stdout);
  _exit(failures == 0 ? 0 : 1);
}

int Wait(pid_t child) {
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

// ---- Many calls ---------------------------------------------------------------------------------

struct Size {
  long kilobytes = 0;
  size_t descriptors = 0, children = 0;

  static Size Now() {
    closelog();
    Size size;
    for (const std::string& entry : HostState::Now({})) {
      size.descriptors += entry.starts_with("descriptor") ? 1 : 0;
      size.children += entry.starts_with("child") ? 1 : 0;
    }
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    size.kilobytes = resident * getpagesize() / 1024;
    return size;
  }
  void Print(int calls) const {
    printf("%10d %9ld %12zu %9zu\n", calls, kilobytes, descriptors, children);
    fflush(stdout);
  }
};

// Calls everything in turn, in no order; what runs tools 40 times less often.
void Soak(int calls) {
  constexpr int kBatch = 10, kFlatFrom = 1000, kToolsEvery = 40;
  constexpr long kMayGrow = 256;  // kilobytes
  std::mt19937 random(1);
  std::vector<const Operation*> quick, slow;
  for (const Operation& operation : Operations()) {
    ((operation.traits & kQuick) != 0 ? quick : slow).push_back(&operation);
  }
  printf("%10s %9s %12s %9s\n", "CALLS", "RESIDENT", "DESCRIPTORS", "CHILDREN");
  const auto start = Clock::now();
  Size flat;
  for (int done = 0; done < calls;) {
    const bool runs_tools = random() % (kToolsEvery / kBatch) == 0;
    const auto& operations = runs_tools ? slow : quick;
    const Operation& operation = *operations[random() % operations.size()];
    MakeSo(World(operation));
    for (int i = runs_tools ? kBatch - 1 : 0; i < kBatch && done < calls; ++i, ++done) {
      operation.call();
      TakeGiven();
      if (done + 1 == kFlatFrom) flat = Size::Now();
      if (done + 1 == kFlatFrom || (done + 1) % (calls / 4) == 0) Size::Now().Print(done + 1);
    }
  }
  const Size last = Size::Now();
  Require(last.descriptors == flat.descriptors, "descriptors were left");
  Require(last.children == flat.children, "children were left");
  Require(last.kilobytes <= flat.kilobytes + kMayGrow, "memory grew");
  printf("%d calls in %.0f s: memory grew by %ld KiB\n", calls, Since(start),
         last.kilobytes - flat.kilobytes);
}

// ---- Many processes -----------------------------------------------------------------------------

constexpr int kTimes = 200;  // what each process of a crowd does
constexpr char kCounter[] = "/run/counter";

void CountUnderLock() {
  FILE* lock = nullptr;
  if (HAFileLock(&lock, HA_LOCK_SPACE, 100000) != 0) return Require(false, "a lock was not had");
  test_support::WriteFile(kCounter,
                          std::to_string(std::stoi(test_support::ReadFile(kCounter)) + 1));
  HAFileUnlock(&lock);
}

HA_CONF_TYPE OwnType(int process) {
  return static_cast<HA_CONF_TYPE>(HA_CONF_HA_IF + process / HA_CONF_MAX_INDEX);
}

std::string OwnValue(int process, int time) {
  return std::to_string(process) + "." + std::to_string(time);
}

void WriteOwnKey(int process, int time) {
  const std::string value = OwnValue(process, time);
  const int index = process % HA_CONF_MAX_INDEX;
  char read[64] = "";
  Require(TAVOHASetConf(OwnType(process), index, value.c_str()) == 0, "a key was not written");
  Require(TAVOHAGetConf(OwnType(process), index, read, sizeof read) == 0 && value == read,
          "a key was lost");
}

void AskDaemon() {
  LsyncdStatus status;
  int result = LSYNCD_ERR_BUSY;
  while ((result = HASystemSyncGetStatus(status)) == LSYNCD_ERR_BUSY) {
    usleep(static_cast<useconds_t>(random() % 20000));
  }
  Require(result == 0 && status.states.size() == 2 && status.errorDescs.size() == 1,
          "an exchange gave " + std::to_string(result));
}

// Processes at once on the locks, the configuration file and the channel.
void Crowd(int processes) {
  MakeSo(World(Operations().front()));
  test_support::WriteFile(kCounter, "0");
  // Pauses stay pauses, or nobody would let anybody else go on; but short ones.
  simcluster::SetPauseHandler([](std::chrono::nanoseconds) { usleep(500); });
  const auto start = Clock::now();
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    children.push_back(Start([process] {
      srandom(static_cast<unsigned>(process));
      alarm(600);
      for (int time = 0; time < kTimes; ++time) {
        CountUnderLock();
        WriteOwnKey(process, time);
        AskDaemon();
      }
    }));
  }
  for (const pid_t child : children) Require(Wait(child) == 0, "a process failed or was stuck");
  Require(test_support::ReadFile(kCounter) == std::to_string(processes * kTimes),
          "counts were lost: " + test_support::ReadFile(kCounter));
  for (int process = 0; process < processes; ++process) {
    char read[64] = "";
    TAVOHAGetConf(OwnType(process), process % HA_CONF_MAX_INDEX, read, sizeof read);
    Require(read == OwnValue(process, kTimes - 1), "a last value was lost");
  }
  printf(
      "%d processes at once, each %d times: %d counts under a lock, %d keys written, "
      "%d exchanges in %.0f s\n",
      processes, kTimes, processes * kTimes, processes * kTimes, processes * kTimes, Since(start));
}

// ---- Many threads -------------------------------------------------------------------------------

// Everything that may run in parallel, from eight threads, each in an order of its own.
void Threads(int rounds) {
  constexpr unsigned kThreads = 8;
  std::vector<const Operation*> operations;
  for (const Operation& operation : Operations()) {
    if ((operation.traits & kExclusive) == 0) operations.push_back(&operation);
  }
  const auto start = Clock::now();
  for (int round = 0; round < rounds; ++round) {
    MakeSo(World(*operations.front()));
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread, order = operations]() mutable {
        std::ranges::shuffle(order, std::mt19937(static_cast<unsigned>(round) * kThreads + thread));
        for (const Operation* operation : order) operation->call();
        TakeGiven();
      });
    }
  }
  printf("%u threads, %d rounds of %zu operations in %.0f s\n", kThreads, rounds, operations.size(),
         Since(start));
}

int Main(int argc, char** argv) {
  const std::string_view mode = argc > 1 ? argv[1] : "";
  const int count = argc > 2 ? atoi(argv[2]) : 0;
  EnterAppliance();
  simcluster::SetPauseHandler([](std::chrono::nanoseconds) {});
  if (mode == "soak") {
    failures += Wait(Start([&] { Soak(count != 0 ? count : 200000); }));
  } else if (mode == "crowd") {
    Crowd(count != 0 ? count : 100);
  } else if (mode == "threads") {
    Threads(count != 0 ? count : 3);
  } else {
    return 64;
  }
  fflush(stdout);
  _exit(failures == 0 ? 0 : 1);  // past the threads that serve the appliance
}

}  // namespace
}  // namespace faults

int main(int argc, char** argv) { return faults::Main(argc, argv); }
