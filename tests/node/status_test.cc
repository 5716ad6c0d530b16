#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavohacore/node.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "tests/support/files.h"
#include "tests/support/host_state.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_tool.h"

namespace {

using test_support::HostState;
using test_support::LogCapture;
using test_support::Logged;
using test_support::ScriptedTool;
using test_support::TakeCommandLines;
using test_support::TakeToolCalls;
using test_support::WriteFile;
using testing::_;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kConf[] = "/usr/tavo/tavoha/etc/ha.conf";

_tag_NODE_TYPE_ Node(int value) { return static_cast<_tag_NODE_TYPE_>(value); }

// Two nodes, nas-a (this one, and host0) and nas-b, on which HA and its daemons run.
class NodeStatus : public testing::Test {
 protected:
  NodeStatus() : crm_mon_("/usr/bin/crm_mon") {
    const std::string alive = std::to_string(getpid());
    WriteFile("/tmp/.ha.running", "");
    WriteFile("/usr/tavo/tavoha/var/run/corosync.pid", alive);
    WriteFile("/usr/tavo/tavoha/var/run/pacemaker.pid", alive);
    SetHosts("nas-a", "nas-b");
  }

  static void SetHosts(const std::string& host0, const std::string& host1) {
    unlink("/tmp/.ha.conf");
    WriteFile(kConf, "host0=\"" + host0 + "\"\nhost1=\"" + host1 + "\"\n");
  }

  int StatusFor(const std::string& output, _tag_NODE_TYPE_ node = NODE_TYPE_LOCAL) {
    crm_mon_.Answer({{.output = output}});
    return HANodeStatusGet(node);
  }

  ScriptedTool crm_mon_;
};

TEST_F(NodeStatus, ReducesTheWordsOfTheNodesLines) {
  const struct {
    std::string output;
    int status;
    const char* flags;
  } cases[] = {
      {"nas-a: ONLINE\n", 3, "0x4"},
      {"nas-a: ONLINE STANDBY\n", 4, "0x14"},
      {"nas-a: UNCLEAN ONLINE\n", 4, "0x6"},
      {"nas-a: ONLINE\nnas-b: OFFLINE\nnas-a: PENDING\n", 4, "0x44"},
      {"nas-a: OFFLINE\n", 6, "0x8"},
      {"nas-a: UNCLEAN(OFFLINE)\n", 6, "0xa"},
      {"nas-a: OFFLINE STANDBY\n", 5, "0x18"},
      {"nas-a: OFFLINE PENDING\n", 5, "0x48"},
      {"nas-a: ONLINE OFFLINE\n", 5, "0xc"},
      {"nas-a: ONLINE ONFAIL\n", 7, "0x24"},
      {"nas-a: STANDBY\n", 0, "0x10"},
      {"nas-a: UNCLEAN PENDING\n", 0, "0x42"},
      {"nas-a: online\n", 0, "0x0"},
      {"nas-b: ONLINE\n", 0, "0x0"},
      {"NAS-A: ONLINE\nnas-a : ONLINE\n", 0, "0x0"},
      {"nas-a: ONLINE", 3, "0x4"},  // no line end
      {"a line without a colon ONLINE\n\nnas-a: ONLINE\n", 3, "0x4"},
      {": ends the listing\nnas-a: ONLINE\n", 0, "0x0"},
      {"nas-a: ONLINE: OFFLINE\n", 5, "0xc"},
      {"", 0, "0x0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.output);
    LogCapture log;
    EXPECT_EQ(StatusFor(c.output), c.status);
    EXPECT_THAT(log.Take(),
                ElementsAre(Logged("INFO", "node", std::string("node:1. crmst:") + c.flags)));
    EXPECT_THAT(TakeCommandLines(), ElementsAre("/usr/bin/crm_mon -1 -S"));
  }
}

TEST_F(NodeStatus, WordsInsideTheNameDoNotCount) {
  SetHosts("nas-a", "ONLINE-1");
  EXPECT_EQ(StatusFor("ONLINE-1: OFFLINE\n", NODE_TYPE_REMOTE), NODE_STATUS_OFFLINE);
}

TEST_F(NodeStatus, NoOutputDoesHarm) {
  const HostState before = HostState::Now();
  const std::string megabyte(1 << 20, 'x');
  EXPECT_EQ(StatusFor(megabyte), NODE_STATUS_UNKNOWN);
  EXPECT_EQ(StatusFor(megabyte + ": ONLINE\nnas-a: ONLINE\n"), NODE_STATUS_ONLINE);
  EXPECT_EQ(StatusFor("nas-a: " + megabyte + " ONLINE"), NODE_STATUS_ONLINE);
  EXPECT_EQ(StatusFor(std::string("x\0y\nnas-a: ONLINE\0OFFLINE\n", 26)), NODE_STATUS_ONLINE);
  EXPECT_EQ(StatusFor(std::string("nas-a\0: ONLINE\n", 15)), NODE_STATUS_UNKNOWN);
  // A name of 64 characters or more is no node's, not even that of its first 63.
  SetHosts("nas-a", std::string(63, 'n'));
  EXPECT_EQ(StatusFor(std::string(64, 'n') + ": ONLINE\n", NODE_TYPE_REMOTE), NODE_STATUS_UNKNOWN);
  EXPECT_EQ(StatusFor(std::string(63, 'n') + ": ONLINE\n", NODE_TYPE_REMOTE), NODE_STATUS_ONLINE);

  crm_mon_.Answer({{.output = "nas-a: ONLINE\nnas-b: OFF", .kill_signal = SIGKILL},
                   {.output = "nas-a: ONLINE\n", .linger_milliseconds = 20, .exit_status = 7}});
  EXPECT_EQ(HANodeStatusGet(NODE_TYPE_LOCAL), NODE_STATUS_ONLINE);
  EXPECT_EQ(HANodeStatusGet(NODE_TYPE_LOCAL), NODE_STATUS_ONLINE);
  HostState after = HostState::Now();
  after.files.erase("/tmp/.ha.conf");
  EXPECT_EQ(after.children, before.children);
  EXPECT_EQ(after.descriptors, before.descriptors);
}

TEST_F(NodeStatus, AToolThatCannotStartIsLogged) {
  for (const auto& [prepare, error] :
       {std::pair{"rm -f /usr/bin/crm_mon", "No such file or directory"},
        std::pair{"rm -f /usr/bin/crm_mon; echo > /usr/bin/crm_mon", "Permission denied"}}) {
    LogCapture log;
    ASSERT_EQ(system(prepare), 0);
    EXPECT_EQ(HANodeStatusGet(NODE_TYPE_LOCAL), NODE_STATUS_UNKNOWN);
    EXPECT_THAT(log.Take(),
                ElementsAre(Logged("ERROR", "node", std::string("TAVLIBPopen: ") + error),
                            Logged("INFO", "node", "node:1. crmst:0x0")));
  }
}

TEST_F(NodeStatus, SelectorsChooseTheHostByName) {
  const struct {
    const char* host0;
    const char* host1;
    int local, remote, host0_status, host1_status;
  } cases[] = {
      {"nas-a", "nas-b", 3, 6, 3, 6}, {"nas-b", "nas-a", 3, 6, 6, 3},
      {"nas-a", "nas-a", 3, 3, 3, 3}, {"nas-a", "", 3, 2, 3, 2},
      {"nas-c", "nas-b", 0, 0, 7, 6},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.host0) + "/" + c.host1);
    SetHosts(c.host0, c.host1);
    const std::string output = "nas-a: ONLINE\nnas-b: OFFLINE\nnas-c: ONFAIL\n";
    EXPECT_EQ(StatusFor(output, NODE_TYPE_LOCAL), c.local);
    EXPECT_EQ(StatusFor(output, NODE_TYPE_REMOTE), c.remote);
    EXPECT_EQ(StatusFor(output, NODE_TYPE_HOST0), c.host0_status);
    EXPECT_EQ(StatusFor(output, NODE_TYPE_HOST1), c.host1_status);
  }
}

TEST_F(NodeStatus, NothingIsRunForANodeThatIsNotThere) {
  LogCapture log;
  EXPECT_EQ(HANodeStatusGet(NODE_TYPE_NONE), NODE_STATUS_UNKNOWN);
  EXPECT_EQ(HANodeStatusGet(Node(5)), NODE_STATUS_UNKNOWN);
  EXPECT_EQ(HANodeStatusGet(Node(-1)), NODE_STATUS_UNKNOWN);
  EXPECT_THAT(log.Take(), IsEmpty());
  SetHosts("nas-c", "nas-b");
  EXPECT_EQ(HANodeStatusGet(NODE_TYPE_REMOTE), NODE_STATUS_UNKNOWN);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("INFO", "node", "Failed to check node 2")));
  SetHosts("nas-a", "");
  EXPECT_EQ(HANodeStatusGet(NODE_TYPE_HOST1), NODE_STATUS_NONE);
  EXPECT_THAT(log.Take(), IsEmpty());
  EXPECT_THAT(TakeCommandLines(), IsEmpty());
}

TEST_F(NodeStatus, AnUnknownLocalNameLeavesTheRecordedHosts) {
  LogCapture log;
  ASSERT_EQ(sethostname("", 0), 0);
  EXPECT_EQ(StatusFor("nas-b: ONLINE\n", NODE_TYPE_HOST1), NODE_STATUS_ONLINE);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "util", _),
                                      Logged("ERROR", "node", "Failed to get host name"),
                                      Logged("INFO", "node", "node:4. crmst:0x4")));
}

TEST_F(NodeStatus, WithoutHAThisNodeIsStandaloneAndThePeerNone) {
  for (const char* gone : {"/usr/tavo/tavoha/var/run/pacemaker.pid", "/tmp/.ha.running"}) {
    unlink(gone);
    EXPECT_EQ(HANodeStatusGet(NODE_TYPE_NONE), NODE_STATUS_UNKNOWN);
    EXPECT_EQ(HANodeStatusGet(NODE_TYPE_LOCAL), NODE_STATUS_STANDALONE);
    EXPECT_EQ(HANodeStatusGet(NODE_TYPE_HOST0), NODE_STATUS_STANDALONE);
    EXPECT_EQ(HANodeStatusGet(NODE_TYPE_REMOTE), NODE_STATUS_NONE);
    EXPECT_EQ(HANodeStatusGet(NODE_TYPE_HOST1), NODE_STATUS_NONE);
    EXPECT_EQ(HANodeStatusGet(Node(5)), NODE_STATUS_NONE);
  }
  EXPECT_THAT(TakeCommandLines(), IsEmpty());
}

TEST_F(NodeStatus, TheToolInheritsNothingOfItsHost) {
  const int leak = open("/etc/passwd", O_RDONLY);  // not close-on-exec
  ASSERT_GE(dup2(leak, 40), 0);
  signal(SIGUSR1, SIG_IGN);
  sigset_t blocked;
  sigfillset(&blocked);
  sigprocmask(SIG_BLOCK, &blocked, nullptr);
  EXPECT_EQ(StatusFor("nas-a: ONLINE\n"), NODE_STATUS_ONLINE);
  const auto calls = TakeToolCalls();
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_THAT(calls[0].arguments, ElementsAre("/usr/bin/crm_mon", "-1", "-S"));
  EXPECT_THAT(calls[0].descriptors, ElementsAre(testing::Pair(0, "/dev/null"),
                                                testing::Pair(1, testing::StartsWith("pipe")),
                                                testing::Pair(2, "/dev/null")));
  EXPECT_THAT(calls[0].blocked_signals, IsEmpty());
  EXPECT_THAT(calls[0].ignored_signals, IsEmpty());
}

TEST(NodeStatusStr, NamesEveryStatus) {
  const char* const names[] = {"unknown",        "standalone",      "none",    "online",
                               "warning_online", "warning_offline", "offline", "error"};
  for (int status = -1; status <= 8; ++status) {
    const bool known = status >= 0 && status < 8;
    EXPECT_STREQ(HANodeStatusStr(static_cast<_tag_NODE_STATUS_>(status)),
                 known ? names[status] : "unknown");
  }
}

TEST_F(NodeStatus, HostNamesComeFromTheConfiguration) {
  LogCapture log;
  char name[64] = "";
  EXPECT_EQ(HAGetNodeHostName(NODE_TYPE_REMOTE, name, sizeof name), 1);
  EXPECT_STREQ(name, "nas-b");
  EXPECT_EQ(HAGetNodeHostName(NODE_TYPE_HOST0, name, 4), 1);
  EXPECT_STREQ(name, "nas");
  EXPECT_EQ(HAGetNodeHostName(NODE_TYPE_NONE, name, sizeof name), 0);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "node", "Invalid argument")));
  SetHosts("nas-a", "");
  EXPECT_EQ(HAGetNodeHostName(NODE_TYPE_HOST1, name, sizeof name), 0);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("DEBUG", "node", "Failed to get host")));
  EXPECT_EQ(HAGetNodeHostName(NODE_TYPE_HOST0, nullptr, 64), 0);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument"),
                                      Logged("DEBUG", "node", "Failed to get host")));
}

}  // namespace
