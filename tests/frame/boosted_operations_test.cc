// Every operation that runs with raised priority, looked at from inside.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <tavohacore.h>
#include <unistd.h>

#include <filesystem>

#include "platform/tavlib.h"
#include "simcluster/network/interface.h"
#include "tests/support/appliance.h"
#include "tests/support/scripted_tool.h"

namespace {

using namespace test_support;

constexpr int kProcess = 1;  // the "who" of the I/O priority calls

struct Priorities {
  static Priorities Now() {
    return {getpriority(PRIO_PROCESS, 0), syscall(SYS_ioprio_get, kProcess, getpid()),
            ReadFile("/proc/self/oom_score_adj")};
  }
  bool operator==(const Priorities&) const = default;

  int nice;
  long io;
  std::string oom_score_adj;
};

void PrintTo(const Priorities& priorities, std::ostream* out) {
  *out << "nice " << priorities.nice << ", I/O " << priorities.io << ", OOM "
       << testing::PrintToString(priorities.oom_score_adj);
}

// What an operation finds at each step. The first is the look whether HA runs, before the boost.
std::vector<Priorities> steps;
bool looking = false;

template <typename Function>
Function Platforms(const char* name) {
  if (looking) steps.push_back(Priorities::Now());
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// All work passes one of these, here or in the full library.
int TAVLIBFileExist(const char* path) {
  return Platforms<decltype(&TAVLIBFileExist)>("TAVLIBFileExist")(path);
}
int TAVLIBFileSetKeyValue(const char* path, const char* key, const char* value,
                          const char* format) {
  return Platforms<decltype(&TAVLIBFileSetKeyValue)>("TAVLIBFileSetKeyValue")(path, key, value,
                                                                              format);
}

namespace {

char text[64], more[64];
HA_NET_INFO interfaces[HA_NET_INFO_COUNT];
int number;

struct Operation {
  const char* name;
  int (*call)();
  int success, failure;
};
constexpr Operation kOperations[] = {
    {"TAVOHAGetHAHostname", [] { return TAVOHAGetHAHostname(text, sizeof text); }, 0, -1},
    {"TAVOHAGetOriginalHostname", [] { return TAVOHAGetOriginalHostname(text, sizeof text, 0); }, 0,
     -1},
    {"TAVOHASetHAHostname", [] { return TAVOHASetHAHostname("cluster"); }, 0, -1},
    {"TAVOHAGetHostDirection", [] { return TAVOHAGetHostDirection(); }, 0, -1},
    {"TAVOHAGetHeartbeatIF", [] { return TAVOHAGetHeartbeatIF(text, sizeof text); }, 0, -1},
    {"TAVOHAGetIFMain", [] { return TAVOHAGetIFMain(text, sizeof text); }, 0, -1},
    {"TAVOHAGetIFConfInfo",
     [] { return TAVOHAGetIFConfInfo("eth0", text, sizeof text, more, sizeof more, &number); }, 0,
     -1},
    {"TAVOHASetIFConfInfo", [] { return TAVOHASetIFConfInfo("eth0", "10.0.0.2", "255.0.0.0", 1); },
     0, -1},
    {"TAVOHAGetMac", [] { return TAVOHAGetMac(1, text, sizeof text); }, 0, -1},
    {"TAVOHAGetRelatedIFInfo",
     [] { return TAVOHAGetRelatedIFInfo("eth0", text, sizeof text, more, sizeof more); }, 0, -1},
    {"TAVOHAIsSafemode", [] { return TAVOHAIsSafemode(); }, 1, 0},
    {"TAVOHAGetHANetinfo", [] { return TAVOHAGetHANetinfo(interfaces, HA_NET_INFO_COUNT); }, 1, 0},
    {"TAVOHAGetModel", [] { return TAVOHAGetModel(text, sizeof text); }, 0, -1},
    {"TAVOHAGetSN", [] { return TAVOHAGetSN(0, text, sizeof text); }, 0, -1},
    {"TAVOHANodeRoleGet", [] { return TAVOHANodeRoleGet(); }, NODE_ROLE_SAFEMODE, NODE_ROLE_NONE},
    {"TAVOHAIsHybridDL", [] { return TAVOHAIsHybridDL(nullptr, nullptr); }, 1, -1},
    {"TAVOHAGetOverviewStatusDL",
     [] {
       number = -1;
       TAVOHAGetOverviewStatusDL(&number, 0);
       return number;
     },
     1, -1},
    {"TAVOHAUpgradeHandleDL", [] { return TAVOHAUpgradeHandleDL(0); }, 1, -1},
};
static_assert(std::size(kOperations) == 18);

class BoostedOperations : public testing::Test {
 protected:
  BoostedOperations() {
    SetRunning(true);
    EXPECT_EQ(simcluster::EnterOwnNetwork(), "");
    EXPECT_EQ(simcluster::AddInterface("eth0"), "");
    EXPECT_EQ(simcluster::SetAddress("eth0:HA", "10.0.0.1", "255.0.0.0"), "");
    // Values of a process that has been given some, and that anybody may return to.
    setpriority(PRIO_PROCESS, 0, 3);
    SetIoPriority(0x4005);
    CoverProcFile("oom_score_adj", "17\n");
    raised_ = Priorities::Now();
    raised_.oom_score_adj = "-900\n";
    // An ordinary user is refused the other two.
    if (setpriority(PRIO_PROCESS, 0, -15) == 0) raised_.nice = -15;
    if (SetIoPriority(0x2000)) raised_.io = 0x2000;
    setpriority(PRIO_PROCESS, 0, 3);
    SetIoPriority(0x4005);
  }

  static bool SetIoPriority(int priority) {
    return syscall(SYS_ioprio_set, kProcess, getpid(), priority) == 0;
  }

  // Makes the operations succeed, or else fail for lack of all that they need.
  void Prepare(bool working) {
    namespace fs = std::filesystem;
    resource_tool_.Answer({{}});
    query_tool_.Answer({{}, {.exit_status = 6}});
    if (working) {
      SetConf(
          "host0=\"nas-a\"\nhost1=\"nas-b\"\nha_hostname=\"cluster\"\ndrbd_if=\"eth3\"\n"
          "ha_if_main=\"eth0\"\nha_if0=\"eth0\"\nha_ip0=\"10.0.0.1\"\nha_netmask0=\"255.0.0.0\"\n"
          "ha_if_enabled0=\"true\"\nha_mac_1=\"00:11:22:33:44:55\"\nha_model=\"TX\"\nha_sn="
          "\"1\"\n");
      WriteFile("/var/lib/ha/ha.safemode.info", "");
      fs::copy_file(FULL_LIBRARY, "/lib/libtavoha.so", fs::copy_options::overwrite_existing);
      ScriptedTool(kAddressAgent).Answer({{}});
    } else {
      unlink(kMirrorFile);
      fs::remove_all(fs::path(kConfFile).parent_path());
      for (const char* path :
           {"/var/lib/ha/ha.safemode.info", "/lib/libtavoha.so", kAddressAgent}) {
        unlink(path);
      }
    }
  }

  // Makes one call and checks what it found and what it left.
  void Expect(const Operation& operation, bool working, bool boosted) {
    SCOPED_TRACE(operation.name + std::string(working ? " succeeds" : " fails"));
    Prepare(working);
    // Without a line end, to be told from what the library writes.
    if (!boosted) WriteFile(kOomScoreAdj, "17");
    const Priorities before = Priorities::Now();
    steps.clear();
    looking = true;
    const int result = operation.call();
    looking = false;
    EXPECT_EQ(result, working ? operation.success : operation.failure);
    EXPECT_EQ(Priorities::Now(), before);
    ASSERT_GE(steps.size(), 2u);
    EXPECT_EQ(steps.front(), before);
    steps.erase(steps.begin());
    EXPECT_THAT(steps, testing::Each(boosted ? raised_ : before));
  }

  static constexpr char kOomScoreAdj[] = "/proc/self/oom_score_adj";
  static constexpr char kAddressAgent[] = "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2";
  ScriptedTool resource_tool_{"/usr/bin/crm_resource"}, query_tool_{"/usr/bin/cibadmin"};
  Priorities raised_;
};

TEST_F(BoostedOperations, RaiseThePrioritiesForTheirTimeAlone) {
  CoverProcFile("cmdline", "tavoscgi_TAVO.Storage.CGI.Volume");
  for (const Operation& operation : kOperations) {
    Expect(operation, true, true);
    Expect(operation, false, true);
  }
}

TEST_F(BoostedOperations, TouchNothingForOtherCallers) {
  CoverProcFile("cmdline", "tavoscgi_TAVO.Storage.CGI");
  for (const Operation& operation : kOperations) {
    Expect(operation, true, false);
    Expect(operation, false, false);
  }
}

TEST_F(BoostedOperations, RefuseBadArgumentsOnlyWhenRaised) {
  CoverProcFile("cmdline", "tavoscgi_TAVO.Core.Storage.Disk");
  for (int (*refuse)() :
       {+[] { return TAVOHAGetModel(nullptr, 0); }, +[] { return TAVOHAGetSN(0, nullptr, 0); },
        +[] { return TAVOHAGetOriginalHostname(nullptr, 0, 0); },
        +[] { return TAVOHAGetHANetinfo(nullptr, 0); }}) {
    WriteFile(kOomScoreAdj, "17");
    EXPECT_EQ(refuse(), -1);
    EXPECT_EQ(ReadFile(kOomScoreAdj), "17\n");
  }
}

}  // namespace
