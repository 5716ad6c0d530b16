// The launcher from its user's side. Stands outside of any private root, as its users do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/files.h"

namespace {

using test_support::Exists;
using test_support::ListDirectory;
using test_support::ReadFile;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct Result {
  std::string output;  // standard error included
  int status;
};

Result Shell(const std::string& command) {
  FILE* pipe = popen(("exec 2>&1; " + command).c_str(), "r");
  std::string output;
  for (int c; (c = getc(pipe)) != EOF;) output.push_back(static_cast<char>(c));
  const int status = pclose(pipe);
  return {output, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

class Launcher : public testing::Test {
 protected:
  void SetUp() override { StartCluster(false); }
  void StartCluster(bool as_nobody) {
    if (as_nobody && geteuid() != 0) GTEST_SKIP() << "runs as an ordinary user already";
    if (as_nobody) user_ = "setpriv --reuid 65534 --regid 65534 --clear-groups ";
    if (Shell(user_ + "test -x " SIMCLUSTER_PROGRAM).status != 0) {
      GTEST_SKIP() << "an ordinary user does not get at the build tree";
    }
    char name[] = "/tmp/launcher_test.XXXXXX";
    scratch_ = mkdtemp(name);
    chmod(name, 0777);
    mounts_ = ReadFile("/proc/self/mounts");

    const Result start = Do("start");
    if (start.output.find("get namespaces") != std::string::npos) {
      GTEST_SKIP() << "this kernel gives users no namespaces: " << start.output;
    }
    ASSERT_EQ(start.status, 0) << start.output;
  }
  void TearDown() override {
    if (scratch_.empty()) return;
    Do("stop");
    std::filesystem::remove_all(scratch_);
  }

  Result Do(const std::string& arguments) {
    return Shell(user_ + SIMCLUSTER_PROGRAM " --state " + scratch_ + "/cluster " + arguments);
  }
  std::string Output(const std::string& arguments) { return Do(arguments).output; }

  // The launcher's processes that still run.
  std::vector<std::string> Processes() {
    std::vector<std::string> processes;
    for (const std::string& id : ListDirectory("/proc")) {
      const std::string command = ReadFile("/proc/" + id + "/cmdline");
      if (command.find(scratch_) != std::string::npos) processes.push_back(command);
    }
    return processes;
  }

  std::string user_, scratch_, mounts_;
};

class LauncherOfUser : public Launcher, public testing::WithParamInterface<bool> {
  void SetUp() override { StartCluster(GetParam()); }
};

TEST_P(LauncherOfUser, GivesEachNodeItsOwnWorldAndBothTheSameCluster) {
  EXPECT_EQ(Output("run host0 hostname"), "nas-a\n");
  EXPECT_EQ(Output("run nas-b -- hostname"), "nas-b\n");
  EXPECT_EQ(Output("run host0 sh -c 'echo a >/usr/bin/mark; echo b >/tmp/mark; cat /usr/bin/mark'"),
            "a\n");
  EXPECT_NE(Do("run host1 test -e /tmp/mark").status, 0);
  EXPECT_FALSE(Exists("/usr/bin/mark"));
  for (const char* node : {"host0", "host1"}) {
    EXPECT_EQ(Output(std::string("run ") + node + " /usr/bin/crm_mon -1 -S"),
              "nas-a: ONLINE\nnas-b: ONLINE\n");
  }
  EXPECT_EQ(Output("run host0 sh -c 'for d in corosync pacemaker; do "
                   "cat /proc/$(cat /usr/tavo/tavoha/var/run/$d.pid)/comm; done'"),
            "corosync\npacemaker\n");
  EXPECT_THAT(Output("run host1 cat /usr/tavo/tavoha/etc/ha.conf"), HasSubstr("host1=\"nas-b\"\n"));
}

TEST_F(Launcher, PassesInputAndExitStatusThrough) {
  EXPECT_EQ(Shell("echo text | " SIMCLUSTER_PROGRAM " --state " + scratch_ +
                  "/cluster run host0 sed -e s/t/T/")
                .output,
            "Text\n");
  EXPECT_EQ(Do("run host0 sh -c 'exit 7'").status, 7);
  EXPECT_EQ(Do("run host0 sh -c 'kill -9 $$'").status, 128 + 9);
  EXPECT_EQ(Do("run host0 no-such-command").status, 127);
  EXPECT_EQ(Do("run host0").status, 2);
  EXPECT_THAT(Output("run host7 true"), HasSubstr("no such node: host7"));
  EXPECT_EQ(Output("run host0 sh -c 'ls /proc/self/fd | wc -l'"), "4\n");  // and that of ls itself
}

TEST_F(Launcher, CollectsWhatANodeLogs) {
  Do("run host1 logger -t program -p user.err some words");
  EXPECT_THAT(Output("log host1"), HasSubstr(" program: some words\n"));
  EXPECT_EQ(Output("log host0"), "");
}

TEST_F(Launcher, OrdersFaultsOfNodesAndTools) {
  struct NodeFault {
    const char *condition, *words;
  };
  for (const auto& [condition, words] :
       {NodeFault{"offline", "OFFLINE"}, NodeFault{"unclean", "OFFLINE UNCLEAN"},
        NodeFault{"pending", "ONLINE PENDING"}, NodeFault{"lost", "OFFLINE"},
        NodeFault{"onfail", "ONLINE ONFAIL"}, NodeFault{"online", "ONLINE"}}) {
    EXPECT_EQ(Do(std::string("fault node host1 ") + condition).status, 0);
    EXPECT_EQ(Output("run host0 crm_mon -1 -S"),
              std::string("nas-a: ONLINE\nnas-b: ") + words + "\n");
  }
  struct ToolFault {
    const char* fault;
    int status;
    const char* output;
  };
  for (const auto& [fault, status, output] :
       {ToolFault{"fail", 1, "crm_mon: a failure was ordered\n"}, ToolFault{"kill", 128 + 9, ""},
        ToolFault{"hangup", 1, "nas-a: ONLINE\n"},
        ToolFault{"missing", 127, "simcluster: cannot run"},
        ToolFault{"none", 0, "nas-a: ONLINE\nnas-b: ONLINE\n"}}) {
    EXPECT_EQ(Do(std::string("fault tool crm_mon ") + fault).status, 0);
    const Result run = Do("run host1 /usr/bin/crm_mon -1 -S");
    EXPECT_EQ(run.status, status) << fault;
    EXPECT_THAT(run.output, StartsWith(output)) << fault;
  }
  Do("fault tool crm_mon noise");
  EXPECT_EQ(Output("run host0 crm_mon -1 -S").size(), size_t{1} << 20);
  Do("fault tool crm_mon none");
  EXPECT_EQ(Do("run host0 crm_mon -1").status, 64);
  EXPECT_EQ(Do("fault node host0 asleep").status, 2);
}

TEST_P(LauncherOfUser, StopLeavesNothing) {
  EXPECT_EQ(Do("start").status, 1) << "a second cluster in the same place";
  EXPECT_THAT(Processes(), testing::Not(IsEmpty()));
  EXPECT_EQ(Do("run host0 sh -c 'sleep 1000 >/dev/null 2>&1 &'").status, 0);
  EXPECT_EQ(Do("stop").status, 0);
  EXPECT_THAT(ListDirectory(scratch_), IsEmpty());
  EXPECT_THAT(Processes(), IsEmpty());
  EXPECT_EQ(ReadFile("/proc/self/mounts"), mounts_);
  EXPECT_EQ(Do("stop").status, 0);
  EXPECT_THAT(Output("run host0 true"), HasSubstr("start one first"));
}

INSTANTIATE_TEST_SUITE_P(, LauncherOfUser, testing::Values(false, true),
                         [](const auto& user) { return user.param ? "AsNobody" : "AsCaller"; });

}  // namespace
