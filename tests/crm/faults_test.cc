// Whatever the tools do, a call ends with its result and leaves nothing behind.
#include <csignal>

#include "tests/crm/cluster.h"
#include "tests/support/host_state.h"

namespace {

using namespace test_support;

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

TEST_F(Faults, MissingToolsEndEachCall) {
  ASSERT_EQ(system("rm /usr/bin/crm* /usr/bin/cibadmin /usr/bin/coro* "
                   "/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2"),
            0);
  EndEachCall({{}});
}

TEST_F(Faults, ToolsKilledHalfWayEndEachCall) {
  EndEachCall({{.output = "resource IP is runn", .kill_signal = SIGKILL}});
}

TEST_F(Faults, ToolsThatHangUpEarlyEndEachCall) {
  EndEachCall({{}, {.output = "IP\n", .linger_milliseconds = 1, .exit_status = 1}});
}

TEST_F(Faults, NoisyToolsEndEachCall) {
  const std::string noise("\0\xff\x80:\n\n::\n\t:\n \n:x\n", 17);
  EndEachCall({{.output = noise + std::string(5000, '\x01'), .error_output = noise}}, true);
}

}  // namespace
