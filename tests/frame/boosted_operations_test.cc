// Every operation that runs with raised priority, looked at from inside.
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <tavohacore.h>

#include "platform/tavlib.h"
#include "simcluster/network/interface.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr int kProcess = 1;  // the "who" of the I/O priority calls

bool SetIoPriority(int priority) {
  return syscall(SYS_ioprio_set, kProcess, getpid(), priority) == 0;
}

// Nice value, I/O priority and OOM score of this process.
std::string Priorities() {
  return std::to_string(getpriority(PRIO_PROCESS, 0)) + " " +
         std::to_string(syscall(SYS_ioprio_get, kProcess, getpid())) + " " +
         ReadFile("/proc/self/oom_score_adj");
}

// What an operation finds at each step. The first is the look whether HA runs, before the boost.
std::vector<std::string> steps;
bool looking = false;

template <typename Function>
Function Platforms(const char* name) {
  if (looking) steps.push_back(Priorities());
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// All work passes one of these, that of the full library between its loading and unloading.
int TAVLIBFileExist(const char* path) {
  return Platforms<decltype(&TAVLIBFileExist)>("TAVLIBFileExist")(path);
}
int TAVLIBFileSetKeyValue(const char* path, const char* key, const char* value,
                          const char* format) {
  return Platforms<decltype(&TAVLIBFileSetKeyValue)>("TAVLIBFileSetKeyValue")(path, key, value,
                                                                              format);
}
int dlclose(void* handle) noexcept { return Platforms<decltype(&dlclose)>("dlclose")(handle); }

namespace {

char text[64], more[64];
HA_NET_INFO interfaces[HA_NET_INFO_COUNT];
BOOL enabled;

int OverviewStatus() {
  text[0] = '\0';
  TAVOHAGetOverviewStatusDL(text, sizeof text);
  return text[0] != '\0' ? 1 : -1;
}

struct Operation {
  int success, failure;
  const char* name;
  int (*call)();
};
#define CALL(success, failure, operation, ...)                          \
  {                                                                     \
    success, failure, #operation, [] { return operation(__VA_ARGS__); } \
  }
const Operation kOperations[] = {
    CALL(0, -1, TAVOHAGetHAHostname, text, sizeof text),
    CALL(0, -1, TAVOHAGetOriginalHostname, text, sizeof text, 0),
    CALL(0, -1, TAVOHASetHAHostname, "cluster"),
    CALL(0, -1, TAVOHAGetHostDirection),
    CALL(0, -1, TAVOHAGetHeartbeatIF, text, sizeof text),
    CALL(0, -1, TAVOHAGetIFMain, text, sizeof text),
    CALL(0, -1, TAVOHAGetIFConfInfo, "eth0", text, sizeof text, more, sizeof more, &enabled),
    CALL(0, -1, TAVOHASetIFConfInfo, "eth0", "10.0.0.2", "255.0.0.0", 1),
    CALL(0, -1, TAVOHAGetMac, 1, text, sizeof text),
    CALL(0, -1, TAVOHAGetRelatedIFInfo, "eth0", text, sizeof text, more, sizeof more),
    CALL(1, 0, TAVOHAIsSafemode),
    CALL(1, 0, TAVOHAGetHANetinfo, interfaces, HA_NET_INFO_COUNT),
    CALL(0, -1, TAVOHAGetModel, text, sizeof text),
    CALL(0, -1, TAVOHAGetSN, 0, text, sizeof text),
    CALL(NODE_ROLE_SAFEMODE, NODE_ROLE_NONE, TAVOHANodeRoleGet),
    CALL(1, -1, TAVOHAIsHybridDL, text, nullptr),
    CALL(1, -1, OverviewStatus),
    CALL(1, -1, TAVOHAUpgradeHandleDL, 1)};
static_assert(std::size(kOperations) == 18);

constexpr char kOomScoreAdj[] = "/proc/self/oom_score_adj";

// Gives the process values that anybody may return to.
void SetUsualPriorities() {
  setpriority(PRIO_PROCESS, 0, 3);
  SetIoPriority(0x4005);
}

// Makes the operations succeed, or else fail for lack of all that they need.
void Prepare(bool working) {
  namespace fs = std::filesystem;
  constexpr char kAddressAgent[] = "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2";
  constexpr char kSafeMode[] = "/var/lib/ha/ha.safemode.info";
  constexpr char kFullLibrary[] = "/lib/libtavoha.so";
  ScriptedTool("/usr/bin/crm_resource").Answer({{}});
  ScriptedTool("/usr/bin/cibadmin").Answer({{}, {.exit_status = 6}});
  fs::remove_all(fs::path(kConfFile).parent_path());
  for (const char* path : {kMirrorFile, kSafeMode, kFullLibrary, kAddressAgent}) unlink(path);
  if (!working) return;
  SetConf(
      "host0=\"nas-a\"\nhost1=\"nas-b\"\nha_hostname=\"cluster\"\ndrbd_if=\"eth3\"\n"
      "ha_if_main=\"eth0\"\nha_if0=\"eth0\"\nha_ip0=\"10.0.0.1\"\nha_netmask0=\"255.0.0.0\"\n"
      "ha_if_enabled0=\"true\"\nha_mac_1=\"00:11:22:33:44:55\"\nha_model=\"TX\"\nha_sn=1\n");
  WriteFile(kSafeMode, "");
  fs::copy_file(FULL_LIBRARY, kFullLibrary);
  ScriptedTool(kAddressAgent).Answer({{}});
}

TEST(BoostedOperations, RaiseThePrioritiesForTheirTimeAloneAndForSomeCallersOnly) {
  SetRunning(true);
  ASSERT_EQ(simcluster::EnterOwnNetwork(), "");
  ASSERT_EQ(simcluster::AddInterface("eth0"), "");
  ASSERT_EQ(simcluster::SetAddress("eth0:HA", "10.0.0.1", "255.0.0.0"), "");
  CoverProcFile("oom_score_adj", "-900\n");
  CoverProcFile("cmdline", "");
  SetUsualPriorities();
  // An ordinary user is refused these two.
  setpriority(PRIO_PROCESS, 0, -15);
  SetIoPriority(0x2000);
  const std::string raised = Priorities();
  SetUsualPriorities();
  WriteFile(kOomScoreAdj, "17\n");
  for (const bool boosted : {true, false}) {
    WriteFile("/run/cmdline",
              boosted ? "tavoscgi_TAVO.Storage.CGI.Volume" : "tavoscgi_TAVO.Storage.CGI");
    for (const Operation& operation : kOperations) {
      for (const bool working : {true, false}) {
        SCOPED_TRACE(operation.name + std::string(working ? " succeeds" : " fails"));
        Prepare(working);
        // Without a line end, to be told from what the library writes.
        if (!boosted) WriteFile(kOomScoreAdj, "17");
        const std::string before = Priorities();
        steps.clear();
        looking = true;
        EXPECT_EQ(operation.call(), working ? operation.success : operation.failure);
        looking = false;
        EXPECT_EQ(Priorities(), before);
        ASSERT_GE(steps.size(), 2u);
        EXPECT_EQ(steps.front(), before);
        steps.erase(steps.begin());
        EXPECT_THAT(steps, Each(boosted ? raised : before));
      }
    }
  }
}

}  // namespace
