#include "platform/tavlib.h"
#include "tests/crm/cluster.h"

namespace {

using namespace std::string_literals;
using namespace test_support;

using ToolRunner = Cluster;

TEST_F(ToolRunner, ListingsAreReadByTheirFormAndBelievedByTheExitStatus) {
  // The resource "a:b" located at the peer and anywhere, and listed.
  const std::tuple<ToolAnswer, int, int, int> cases[] = {
      {{.output = "resource IP is running on: nas-b \n"}, 1, 1, 0},
      {{.output = "x: nas-a\n  x: nas-b Master\n\n"}, 1, 1, 0},
      {{.output = "x: nas-bb\nx: Nas-b\nx:  nas-b"}, 0, 1, 0},
      {{.output = "nas-b runs it\nNOT running\nx: \nx:\n:"}, 0, 0, 0},
      {{.output = "resource x:0 is running on: nas-b"}, 0, 1, 0},
      {{.output = "x\0: nas-b\nx: nas-b\0c\n"s}, 1, 1, 0},
      {{.output = " a:b:0 \na:b:1"}, 0, 1, 1},
      {{.output = "a:b\n"}, 0, 1, 0},
      {{.output = "x: nas-b\na:b:0\n", .exit_status = 234}, 0, 0, 0},
      {{.output = "x: nas-b\na:b:0\n", .kill_signal = SIGTERM}, 0, 0, 0},
      {{.output = "x: nas-b\na:b:0\n", .linger_milliseconds = 5, .exit_status = 1}, 0, 0, 0}};
  const HostState before = HostState::Now();
  for (const auto& [answer, at_peer, anywhere, configured] : cases) {
    SCOPED_TRACE(answer.output);
    const bool fails = answer.exit_status == 1 || answer.kill_signal != 0;
    const Story logged = fails ? "ERROR Failed to get resource location of a:b" : "";
    crm_resource.Answer({answer});
    Expect(HACrmIsResourceRunningAt("nas-b", "a:b"), at_peer, "locate a:b", logged);
    Expect(HACrmIsResourceRunningAt(nullptr, "a:b"), anywhere, "locate a:b", logged);
    Expect(HACrmIsResourceConfigured("a:b"), configured, "list");
    EXPECT_EQ(HostState::Now(), before);
  }
}

TEST_F(ToolRunner, NothingIsAskedWithoutAResourceOrTheClusterStack) {
  Expect(HACrmIsResourceConfigured(nullptr), 0, "");
  Expect(HACrmIsResourceRunningAt("nas-a", nullptr), 0, "");
  EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
  unlink("/usr/tavo/tavoha/var/run/pacemaker.pid");
  Expect(HACrmIsResourceRunningAt(nullptr, "IP"), 0, "");
}

TEST_F(ToolRunner, TheAdminEpochIsRaisedWithTheToolsOwnResult) {
  Expect(HACrmIncreaseAdminEpoch(), 6,
         "cibadmin --modify --xml-text '<cib admin_epoch=\"admin_epoch++\"/>'");
}

}  // namespace
