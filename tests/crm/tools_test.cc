#include "platform/tavlib.h"
#include "tests/crm/cluster.h"

namespace {

using namespace std::string_literals;
using namespace test_support;

using ToolRunner = Cluster;

TEST_F(ToolRunner, ListingsAreReadByTheirFormAndBelievedByTheExitStatus) {
  const struct {
    ToolAnswer answer;
    int at_peer, anywhere, configured;  // the resource "a:b" located and listed
    bool fails = false;
  } cases[] = {{{.output = "resource IP is running on: nas-b \n"}, 1, 1, 0},
               {{.output = "x: nas-a\n  x: nas-b Master\n\n"}, 1, 1, 0},
               {{.output = "x: nas-bb\nx: Nas-b\nx:  nas-b"}, 0, 1, 0},
               {{.output = "nas-b runs it\nNOT running\nx: \nx:\n:"}, 0, 0, 0},
               {{.output = "resource x:0 is running on: nas-b"}, 0, 1, 0},
               {{.output = "x\0: nas-b\nx: nas-b\0c\n"s}, 1, 1, 0},
               {{.output = " a:b:0 \na:b:1"}, 0, 1, 1},
               {{.output = "a:b\n"}, 0, 1, 0},
               {{.output = "x: nas-b\na:b:0\n", .exit_status = 234}, 0, 0, 0},
               {{.output = "x: nas-b\na:b:0\n", .exit_status = 1}, 0, 0, 0, true},
               {{.output = "x: nas-b\na:b:0\n", .kill_signal = SIGTERM}, 0, 0, 0, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.answer.output);
    const Story logged = c.fails ? "ERROR Failed to get resource location of a:b" : "";
    crm_resource.Answer({c.answer});
    Expect(HACrmIsResourceRunningAt("nas-b", "a:b"), c.at_peer, "locate a:b", logged);
    Expect(HACrmIsResourceRunningAt(nullptr, "a:b"), c.anywhere, "locate a:b", logged);
    Expect(HACrmIsResourceConfigured("a:b"), c.configured, "list");
  }
}

TEST_F(ToolRunner, NothingIsAskedWithoutAResourceOrTheClusterStack) {
  Expect(HACrmIsResourceConfigured(nullptr), 0, "");
  Expect(HACrmIsResourceRunningAt("nas-a", nullptr), 0, "");
  EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
  unlink("/usr/tavo/tavoha/var/run/pacemaker.pid");
  Expect(HACrmIsResourceRunningAt(nullptr, "IP"), 0, "");
}

TEST_F(ToolRunner, TenThousandLinesAreReadToTheLast) {
  std::string output;
  for (int i = 0; i < 10000; ++i) output += std::to_string(i) + ": node" + std::to_string(i) + "\n";
  crm_resource.Answer({{.output = output}});
  EXPECT_EQ(HACrmIsResourceRunningAt("node9999", "IP"), 1);
  EXPECT_EQ(HACrmIsResourceConfigured("9999"), 1);
}

TEST_F(ToolRunner, TheAdminEpochIsRaisedWithTheToolsOwnResult) {
  Expect(HACrmIncreaseAdminEpoch(), 6,
         "cibadmin --modify --xml-text '<cib admin_epoch=\"admin_epoch++\"/>'");
}

const struct {
  const char* name;
  int (*call)();
  int failing, noisy;  // results when every tool fails, or exits with 0 after noise
} kCalls[] = {
    {"locate", [] { return HACrmIsResourceRunningAt(nullptr, "IP"); }, 0, 0},
    {"configured", [] { return HACrmIsResourceConfigured("IP"); }, 0, 0},
    {"set", [] { return HACrmSetConstraintOnNode(1, NODE_TYPE_LOCAL, CRM_CONSTRAINT_SB); }, 0, 0},
    {"has", [] { return HACrmHasConstraintOnNode(NODE_TYPE_LOCAL, CRM_CONSTRAINT_SB); }, 0, 1},
    {"has any", [] { return HACrmHasAnyConstraintOnNode(NODE_TYPE_LOCAL); }, 0, 1},
    {"online", [] { return HACrmOnline(NODE_TYPE_REMOTE); }, 1, 1},
    {"standby", [] { return HACrmStandby(NODE_TYPE_REMOTE); }, 1, 0},
    {"failed operation", [] { return HACrmHasFailedOp(NODE_TYPE_LOCAL); }, 0, 1},
    {"wait", HAWaitCrmDone, 0, 0},
    {"node exists", [] { return HACrmIsNodeExist(NODE_TYPE_REMOTE); }, 0, 1},
    {"unmanaged", HACrmIsIPUnmanaged, 0, 1},
    {"restart", HACrmRestartIP, -1, 0},
    {"clean", HACrmCleanState, 0, 0},
    {"initialise", [] { return HACrmConfInit(1); }, -1, -1},
    {"remove peer", [] { return HACrmRemoveRemote("now"); }, 0, 0},
    {"role", TAVOHANodeRoleGet, NODE_ROLE_NONE, NODE_ROLE_NONE},
    {"cluster status", HAStatusGet, HA_STATUS_WARNING, HA_STATUS_WARNING}};

class Faults : public Cluster {
 protected:
  // Has every tool answer like that. With several answers, only what is left behind is looked at.
  void EndEachCall(const std::vector<ToolAnswer>& answers, bool noisy = false) {
    HACrmManageIP();                     // makes the lock's directory,
    HACrmIsNodeExist(NODE_TYPE_REMOTE);  // and the mirror file
    const HostState before = HostState::Now();
    for (const auto& c : kCalls) {
      SCOPED_TRACE(c.name);
      for (ScriptedTool& tool : tools) tool.Answer(answers);
      const int result = c.call();
      EXPECT_TRUE(answers.size() > 1 || result == (noisy ? c.noisy : c.failing)) << result;
      EXPECT_EQ(HostState::Now(), before);
      FILE* lock = nullptr;
      EXPECT_EQ(HAFileLock(&lock, HA_LOCK_CRM_OPERATION, 0), 0);
      HAFileUnlock(&lock);
    }
  }
};

TEST_F(Faults, KilledHangingUpNoisyAndMissingToolsEndEachCall) {
  const std::string noise = "\0\xff\x80:\n\n:\n\t:\n \nx\n"s;
  EndEachCall({{.output = "resource IP is runn", .kill_signal = SIGKILL}});
  EndEachCall({{}, {.output = "IP\n", .linger_milliseconds = 1, .exit_status = 1}});
  EndEachCall({{.output = noise + std::string(5000, '\x01'), .error_output = noise}}, true);
  EndEachCall({{}}, true);  // silent
  ASSERT_EQ(system("rm /usr/bin/crm* /usr/bin/cibadmin /usr/bin/coro* "
                   "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2"),
            0);
  EndEachCall({{}});
}

}  // namespace
