// The library's operations against their floors.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <ini.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <syslog.h>
#include <tavohacore.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/bare.h"
#include "bench/measures.h"
#include "simcluster/root/private_root.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;

constexpr char kConf[] = "/usr/tavo/tavoha/etc/ha.conf";
constexpr char kMirror[] = "/tmp/.ha.conf";
constexpr char kLastKey[] = "mac1_11";
constexpr int kReadsOfARecord = 157;

void WriteFile(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path) << content;
}

char* process_name;  // the memory of argv[0], which the kernel shows as the process's name

// ---- Running state and logging ------------------------------------------------------------------

void IsRunning(State& state) {
  for (auto _ : state) DoNotOptimize(TAVOHAIsRunning());
}
void BareFaccessat(State& state) {
  for (auto _ : state) DoNotOptimize(syscall(SYS_faccessat, AT_FDCWD, "/tmp/.ha.running", F_OK));
}

// The system logger: a real socket, whose lines are taken when a benchmark says so. To wake a
// logger that waits for the next line costs more than the line, and now this much and now that.
class Logger {
 public:
  static constexpr int kQueue = 8;  // lines; the kernel keeps a few more, and then has senders wait

  Logger() : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/dev/log"};
    if (bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) perror("bind");
  }
  ~Logger() { close(socket_); }
  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

  void TakeLines() const {
    char line[4096];
    while (recv(socket_, line, sizeof line, MSG_DONTWAIT) >= 0) {
    }
  }

 private:
  int socket_;
};
std::unique_ptr<Logger> logger;

double ThreadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Times as many lines at a time as the socket keeps; taking them is not counted.
template <typename LogLine>
void TimeLines(State& state, LogLine log_line) {
  for (auto _ : state) {
    const double start = ThreadSeconds();
    for (int i = 0; i < Logger::kQueue; ++i) log_line();
    state.SetIterationTime(ThreadSeconds() - start);
    logger->TakeLines();
  }
}

void Log(State& state) {
  TimeLines(state, [] {
    __halog(LOG_INFO, "[HA-%s] %s:%d: node:%d. crmst:0x%x", "INFO", "node", 1, 1, 4U);
  });
}
void CallVsyslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}
void BareVsyslog(State& state) {
  TimeLines(state, [] {
    CallVsyslog(LOG_INFO, "[HA-%s] %s:%d: node:%d. crmst:0x%x", "INFO", "node", 1, 1, 4U);
  });
}

// ---- Configuration ------------------------------------------------------------------------------

// Fills ha.conf with every value, and its mirror with all but the Corosync key.
void FillConfiguration() {
  for (int type = HA_CONF_DRBD_IF; type <= HA_CONF_MAC1; ++type) {
    for (int i = 0; i < (type < HA_CONF_HA_IF ? 1 : HA_CONF_MAX_INDEX); ++i) {
      TAVOHASetConf(static_cast<HA_CONF_TYPE>(type), i, "00:11:22:33:44:55");
    }
  }
  TAVOHASetConf(HA_CONF_HOST0, 0, "nas-a");
  TAVOHASetConf(HA_CONF_HOST1, 0, "nas-b");
}

void GetConf(State& state) {
  char value[64];
  for (auto _ : state) {
    if (TAVOHAGetConf(HA_CONF_MAC1, 11, value, sizeof value) != 0) state.SkipWithError("no value");
  }
}
void BareSearch(State& state) {
  for (auto _ : state) {
    char buffer[16384];
    DoNotOptimize(access(kMirror, F_OK));
    const size_t length = bench::ReadFile(kMirror, buffer, sizeof buffer - 1);
    buffer[length] = '\0';
    const std::string wanted = std::string("\n") + kLastKey + "=\"";
    const char* found = strstr(buffer, wanted.c_str());
    if (found == nullptr) state.SkipWithError("no value");
    char value[64];
    sscanf(found + wanted.size(), "%63[^\"]", value);
    DoNotOptimize(value);
  }
}
void GKeyFileValue(State& state) {
  for (auto _ : state) {
    gchar* text = nullptr;
    gsize length = 0;
    g_file_get_contents(kMirror, &text, &length, nullptr);
    // It knows no keys outside a group.
    const std::string grouped = "[ha]\n" + std::string(text, length);
    g_free(text);
    GKeyFile* file = g_key_file_new();
    g_key_file_load_from_data(file, grouped.data(), grouped.size(), G_KEY_FILE_NONE, nullptr);
    gchar* value = g_key_file_get_value(file, "ha", kLastKey, nullptr);
    if (value == nullptr) state.SkipWithError("no value");
    g_free(value);
    g_key_file_free(file);
  }
}
void InihValue(State& state) {
  for (auto _ : state) {
    std::string value;
    ini_parse(
        kMirror,
        [](void* user, const char*, const char* name, const char* text) {
          if (strcmp(name, kLastKey) == 0) *static_cast<std::string*>(user) = text;
          return 1;
        },
        &value);
    if (value.empty()) state.SkipWithError("no value");
  }
}

void SetConf(State& state) {
  for (auto _ : state) {
    if (TAVOHASetConf(HA_CONF_MAC1, 11, "00:11:22:33:44:55") != 0) state.SkipWithError("not set");
  }
}
void BareTwoReplacements(State& state) {
  char buffer[16384];
  const size_t length = bench::ReadFile(kConf, buffer, sizeof buffer);
  for (auto _ : state) {
    bench::ReplaceFile("/usr/tavo/tavoha/etc", kConf, buffer, length);
    bench::ReplaceFile("/tmp", kMirror, buffer, length);
  }
}

void ConfStructGet(State& state) {
  HA_CONF_STRUCT record{};
  for (auto _ : state) {
    if (HAConfStructGet(&record) != 0) state.SkipWithError("nothing read");
  }
}
void BareReads(State& state) {
  char buffer[16384];
  for (auto _ : state) {
    for (int i = 0; i < kReadsOfARecord; ++i) {
      DoNotOptimize(bench::ReadFile(kConf, buffer, sizeof buffer));
    }
  }
}

// ---- Nodes --------------------------------------------------------------------------------------

constexpr const char* kCrmMon[] = {"/usr/bin/crm_mon", "-1", "-S", nullptr};
constexpr const char* kLocate[] = {"/usr/bin/crm_resource", "--resource", "DRBD", "--locate",
                                   nullptr};

void NodeStatus(State& state) {
  for (auto _ : state) {
    if (HANodeStatusGet(NODE_TYPE_LOCAL) != NODE_STATUS_ONLINE) state.SkipWithError("not online");
    logger->TakeLines();
  }
}
void NodeStatusOfALargeHost(State& state) {
  constexpr size_t kSize = size_t{2} << 30;
  void* memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (memory == MAP_FAILED) state.SkipWithError("no 2 GiB of memory");
  NodeStatus(state);
  munmap(memory, kSize);
}
void BareStatusTool(State& state) {
  for (auto _ : state) bench::RunTool(kCrmMon);
}
void NodeRole(State& state) {
  for (auto _ : state) {
    if (HANodeRoleTypeGet(NODE_TYPE_LOCAL) != NODE_ROLE_PASSIVE) state.SkipWithError("not passive");
    logger->TakeLines();
  }
}
void BareSevenTools(State& state) {
  for (auto _ : state) {
    bench::RunTool(kCrmMon);
    for (int i = 0; i < 6; ++i) bench::RunTool(kLocate);
  }
}

// ---- Locks and priorities -----------------------------------------------------------------------

void Lock(State& state) {
  for (auto _ : state) {
    FILE* slot = nullptr;
    if (HAFileLock(&slot, HA_LOCK_CRM_OPERATION, 0) != 0) state.SkipWithError("not locked");
    HAFileUnlock(&slot);
  }
}
void BareLock(State& state) {
  for (auto _ : state) {
    mkdir("/tmp/ha/", 0755);
    const int file =
        open("/tmp/ha/.ha.crm_operation.lock", O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    flock(file, LOCK_EX | LOCK_NB);
    flock(file, LOCK_UN);
    close(file);
  }
}

void SetOomScore(const char* text) {
  const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_TRUNC | O_CLOEXEC);
  if (write(file, text, strlen(text)) < 0) perror("oom_score_adj");
  close(file);
}

// Gives the process a name for the time of a scope.
class NameScope {
 public:
  explicit NameScope(const char* name) : saved_(process_name) { strcpy(process_name, name); }
  ~NameScope() { strcpy(process_name, saved_.c_str()); }

 private:
  std::string saved_;
};

void BoostedCall(State& state) {
  const NameScope name("tavoscgi_TAVO.Storage.CGI.");
  if (TAVOHAChkIfChangePriority() != 1) state.SkipWithError("not boosted");
  for (auto _ : state) DoNotOptimize(TAVOHAIsSafemode());
}
void BareBoost(State& state) {
  for (auto _ : state) {
    char buffer[1024];
    // Whether to raise.
    DoNotOptimize(access("/tmp/.ha.running", F_OK));
    bench::ReadFile("/proc/self/cmdline", buffer, sizeof buffer);
    // What to restore.
    const int nice = getpriority(PRIO_PROCESS, 0);
    const long io = syscall(SYS_ioprio_get, 1, getpid());
    buffer[bench::ReadFile("/proc/self/oom_score_adj", buffer, sizeof buffer - 1)] = '\0';
    // Raise, work, restore.
    setpriority(PRIO_PROCESS, 0, -15);
    syscall(SYS_ioprio_set, 1, getpid(), 8192);
    SetOomScore("-900\n");
    DoNotOptimize(access("/var/lib/ha/ha.safemode.info", F_OK));
    setpriority(PRIO_PROCESS, 0, nice);
    syscall(SYS_ioprio_set, 1, getpid(), io | 2 << 13);
    SetOomScore(buffer);
  }
}

// ---- The sync daemon's channel ------------------------------------------------------------------

// Answers every command byte with as many lines as `lines` says.
class SyncDaemon {
 public:
  SyncDaemon() {
    mkfifo("/tmp/ha.lsyncd.fifoCmd", 0600);
    mkfifo("/tmp/ha.lsyncd.fifoData", 0600);
    WriteFile("/var/run/ha/lsyncd.pid", std::to_string(getpid()));
    commands_ = open("/tmp/ha.lsyncd.fifoCmd", O_RDWR | O_CLOEXEC);
    thread_ = std::thread([this] { Serve(); });
  }
  ~SyncDaemon() {
    const char quit = 0;
    if (write(commands_, &quit, 1) != 1) abort();
    thread_.join();
    close(commands_);
  }
  SyncDaemon(const SyncDaemon&) = delete;
  SyncDaemon& operator=(const SyncDaemon&) = delete;

  void SetLines(int lines) {
    reply_ = std::to_string(lines) + "\n";
    for (int i = 0; i < lines; ++i) reply_ += "event" + std::to_string(i) + ":/volume1/file\n";
  }
  size_t reply_size() const { return reply_.size(); }

 private:
  void Serve() {
    for (char command; read(commands_, &command, 1) == 1 && command != 0;) {
      const int data = open("/tmp/ha.lsyncd.fifoData", O_WRONLY | O_CLOEXEC);
      for (size_t sent = 0; sent < reply_.size();) {
        const ssize_t count = write(data, reply_.data() + sent, reply_.size() - sent);
        if (count <= 0) break;
        sent += static_cast<size_t>(count);
      }
      close(data);
    }
  }

  int commands_;
  std::string reply_;
  std::thread thread_;
};
std::unique_ptr<SyncDaemon> sync_daemon;

void GetEvents(State& state) {
  const auto lines = static_cast<size_t>(state.range(0));
  sync_daemon->SetLines(static_cast<int>(lines));
  for (auto _ : state) {
    std::vector<LsyncdEvent> events;
    const int result = HASystemSyncGetEvents(events);
    if (result != 0 || events.size() != lines) {
      state.SkipWithError(("result " + std::to_string(result)).c_str());
    }
  }
}
void BareByteLoop(State& state) {
  sync_daemon->SetLines(static_cast<int>(state.range(0)));
  const int commands = open("/tmp/ha.lsyncd.fifoCmd", O_WRONLY | O_CLOEXEC);
  for (auto _ : state) {
    const char command = 2;
    if (write(commands, &command, 1) != 1) state.SkipWithError("no daemon");
    const int data = open("/tmp/ha.lsyncd.fifoData", O_RDONLY | O_CLOEXEC);
    char byte = 0;
    for (size_t got = 0; got < sync_daemon->reply_size();) got += read(data, &byte, 1) == 1 ? 1 : 0;
    close(data);
  }
  close(commands);
}

// ---- All of them --------------------------------------------------------------------------------

const std::vector<bench::Measure> kMeasures = {
    {"IsRunning, marker / faccessat", "IsRunning", {"BareFaccessat"}, 1.15},
    {"GetConf, mirror / open+read+close+search", "GetConf", {"BareSearch"}, 1.5},
    {"GetConf, mirror / GKeyFile, inih", "GetConf", {"GKeyFileValue", "InihValue"}, 0.33},
    {"SetConf / two file replacements", "SetConf", {"BareTwoReplacements"}, 1.2},
    {"ConfStructGet / 157 file reads", "ConfStructGet", {"BareReads"}, 1.5},
    {"NodeStatus / one tool run", "NodeStatus", {"BareStatusTool"}, 1.1},
    {"NodeStatus, 2 GiB host / small host", "NodeStatusOfALargeHost", {"NodeStatus"}, 1.1},
    {"NodeRole, passive / seven tool runs", "NodeRole", {"BareSevenTools"}, 1.1},
    {"__halog / vsyslog", "Log", {"BareVsyslog"}, 1.05},
    {"FileLock+Unlock / mkdir+open+flock+close", "Lock", {"BareLock"}, 1.2},
    {"GetEvents, 10000 lines / byte loop", "GetEvents/10000", {"BareByteLoop/10000"}, 1.2},
    {"GetEvents, 10000 lines / 1000 lines", "GetEvents/10000", {"GetEvents/1000"}, 11},
    {"Boosted call / raise and restore", "BoostedCall", {"BareBoost"}, 1.3},
};

BENCHMARK(IsRunning);
BENCHMARK(BareFaccessat);
BENCHMARK(Log)->UseManualTime();
BENCHMARK(BareVsyslog)->UseManualTime();
BENCHMARK(GetConf);
BENCHMARK(BareSearch);
BENCHMARK(GKeyFileValue);
BENCHMARK(InihValue);
BENCHMARK(SetConf)->UseRealTime();
BENCHMARK(BareTwoReplacements)->UseRealTime();
BENCHMARK(ConfStructGet);
BENCHMARK(BareReads);
BENCHMARK(NodeStatus)->UseRealTime()->MinTime(0.1);
BENCHMARK(NodeStatusOfALargeHost)->UseRealTime()->MinTime(0.1)->Repetitions(21);
BENCHMARK(BareStatusTool)->UseRealTime()->MinTime(0.1);
BENCHMARK(NodeRole)->UseRealTime()->MinTime(0.1);
BENCHMARK(BareSevenTools)->UseRealTime()->MinTime(0.1);
BENCHMARK(Lock);
BENCHMARK(BareLock);
BENCHMARK(GetEvents)->Arg(1000)->Arg(10000);
BENCHMARK(BareByteLoop)->Arg(10000);
BENCHMARK(BoostedCall);
BENCHMARK(BareBoost);

// Puts a plain file over this process's out-of-memory score, which the kernel may refuse to lower.
void CoverOomScore() {
  WriteFile("/run/oom_score_adj", "0\n");
  const std::string path = "/proc/" + std::to_string(getpid()) + "/oom_score_adj";
  if (mount("/run/oom_score_adj", path.c_str(), nullptr, MS_BIND, nullptr) != 0) perror("mount");
}

// Puts the configuration's directory on a disk, where an appliance has it: the root is in memory,
// which syncs for nothing.
void KeepConfigurationOnDisk() {
  const std::string on_disk = BENCH_BUILD_DIRECTORY "/bench/conf_on_disk";
  const std::string directory = std::filesystem::path(kConf).parent_path();
  std::filesystem::create_directories(on_disk);
  std::filesystem::create_directories(directory);
  if (mount(on_disk.c_str(), directory.c_str(), nullptr, MS_BIND, nullptr) != 0) perror("mount");
}

void SetUpNode() {
  KeepConfigurationOnDisk();
  const std::string alive = std::to_string(getpid());
  WriteFile("/tmp/.ha.running", "");
  WriteFile("/usr/tavo/tavoha/var/run/corosync.pid", alive);
  WriteFile("/usr/tavo/tavoha/var/run/pacemaker.pid", alive);
  WriteFile(kConf, "");
  FillConfiguration();
  for (const char* tool : {"/usr/bin/crm_mon", "/usr/bin/crm_resource"}) {
    if (symlink(STATUS_TOOL, tool) != 0) perror(tool);
  }
  CoverOomScore();
}

}  // namespace

int main(int argc, char** argv) {
  process_name = argv[0];
  if (strlen(process_name) < strlen("tavoscgi_TAVO.Storage.CGI.")) {
    fputs("Start this program under a longer path: its name is to be changed in place.\n", stderr);
    return 2;
  }
  const simcluster::Error error = simcluster::EnterPrivateRoot(
      {.host_name = "nas-a", .visible = {BENCH_SOURCE_DIRECTORY, BENCH_BUILD_DIRECTORY}});
  if (!error.empty()) {
    fprintf(stderr, "%s\n", error.c_str());
    return 2;
  }
  logger = std::make_unique<Logger>();
  SetUpNode();
  sync_daemon = std::make_unique<SyncDaemon>();
  const int status = bench::Report(argc, argv, kMeasures);
  sync_daemon.reset();
  return status;
}
