// The launcher from its user's side. Stands outside of any private root, as its users do.
#include "tests/simcluster/launched.h"

namespace {

using namespace test_support;

// Started by whoever runs the test, or by an ordinary user.
class Launcher : public Launched, public WithParamInterface<bool> {
 protected:
  void SetUp() override {
    if (GetParam() && geteuid() != 0) GTEST_SKIP() << "runs as an ordinary user already";
    if (GetParam()) user_ = "setpriv --reuid 65534 --regid 65534 --clear-groups ";
    if (Shell(user_ + "test -x " SIMCLUSTER_PROGRAM).status != 0) {
      GTEST_SKIP() << "an ordinary user does not get at the build tree";
    }
    machine_ = Machine();
    const ShellResult start = Start();
    if (start.output.find("get namespaces") != std::string::npos) {
      GTEST_SKIP() << "this kernel gives users no namespaces: " << start.output;
    }
    ASSERT_EQ(start.status, 0) << start.output;
  }

  // What must be the same outside, whatever is done inside.
  static std::string Machine() {
    return Shell("hostname; ls -A /etc /usr/bin /root /dev /dev/shm").output +
           ReadFile("/etc/passwd") + ReadFile("/proc/self/mounts");
  }
  // The launcher's processes that still run.
  std::vector<std::string> Processes() {
    std::vector<std::string> processes;
    for (const std::string& id : ListDirectory("/proc")) {
      const std::string command = ReadFile("/proc/" + id + "/cmdline");
      if (command.find(scratch_) != std::string::npos) processes.push_back(command);
    }
    return processes;
  }

  std::string machine_;
};

TEST_P(Launcher, GivesEachNodeItsOwnWorldAndLeavesTheMachineAsItWas) {
  EXPECT_EQ(Do("run host0 hostname"), "nas-a\n");
  EXPECT_EQ(Do("run nas-b -- hostname"), "nas-b\n");
  for (const char* directory : {"/usr/bin", "/usr/lib/ocf", "/usr/tavo/tavoha/etc", "/etc", "/root",
                                "/etc.defaults", "/var/lib/ha", "/var/run", "/tmp", "/dev/shm"}) {
    const std::string mark = std::string(directory) + "/mark-of-node";
    EXPECT_EQ(Do("run host0 sh -c 'mkdir -p " + std::string(directory) + "; echo a >" + mark +
                 "; cat " + mark + "'"),
              "a\n");
    EXPECT_NE(Run("run host1 test -e " + mark).status, 0) << mark;
  }
  EXPECT_EQ(Run("run host0 rm /etc/passwd").status, 0);
  EXPECT_EQ(Do("run host1 /usr/bin/crm_mon -1 -S"), "nas-a: ONLINE\nnas-b: ONLINE\n");
  EXPECT_EQ(Do("run host0 sh -c 'for d in corosync pacemaker; do "
               "cat /proc/$(cat /usr/tavo/tavoha/var/run/$d.pid)/comm; done'"),
            "corosync\npacemaker\n");
  EXPECT_EQ(Run("run host0 sh -c 'sleep 1000 >/dev/null 2>&1 &'").status, 0);
  EXPECT_EQ(Run("start").status, 1) << "a second cluster in the same place";
  EXPECT_THAT(Processes(), Not(IsEmpty()));
  EXPECT_EQ(Do("stop"), "");
  EXPECT_THAT(ListDirectory(scratch_), IsEmpty());
  EXPECT_THAT(Processes(), IsEmpty());
  EXPECT_EQ(Machine(), machine_);
  EXPECT_THAT(Do("run host0 true"), HasSubstr("start one first"));
}

TEST_P(Launcher, PassesOnWhatAProgramGetsAndGives) {
  EXPECT_EQ(Shell("echo text | " + Command("run host0 sed -e s/t/T/")).output, "Text\n");
  EXPECT_EQ(Do("run host0 sh -c 'ls /proc/self/fd | wc -l'"), "4\n");  // and that of ls itself
  for (const auto& [command, status] : {std::pair("run host0 sh -c 'exit 7'", 7),
                                        {"run host0 sh -c 'kill -9 $$'", 128 + 9},
                                        {"run host0 test -e /lib/libtavoha.so", 0},
                                        {"run host0 no-such-command", 127},
                                        {"run host0", 2},
                                        {"run host7 true", 1},
                                        {"fault node host0 asleep", 2}}) {
    EXPECT_EQ(Run(command).status, status) << command;
  }
  Do("run host1 logger -t program -p user.err some words");
  for (int i = 0; i < 100 && Do("log host1").empty(); ++i) usleep(10000);
  EXPECT_THAT(Do("log host1"), HasSubstr(" program: some words\n"));
  EXPECT_EQ(Do("log host0"), "");
}

INSTANTIATE_TEST_SUITE_P(, Launcher, Values(false, true),
                         [](const auto& user) { return user.param ? "AsNobody" : "AsCaller"; });

}  // namespace
