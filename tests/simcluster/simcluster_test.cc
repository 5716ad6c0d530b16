// The simulated cluster from its user's side, outside of any private root.
#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/support/test.h"

namespace {

using namespace test_support;
using nlohmann::json;

// A cluster, started by its launcher.
class Launched : public Test {
 protected:
  // The directory is everybody's, since anybody may be made the user who starts the cluster.
  ShellResult Start() {
    char name[] = "/tmp/simcluster_test.XXXXXX";
    scratch_ = mkdtemp(name);
    chmod(name, 0777);
    return Run("start");
  }
  void TearDown() override {
    if (scratch_.empty()) return;
    EXPECT_EQ(Do("stop"), "");
    std::filesystem::remove_all(scratch_);
  }

  std::string Command(const std::string& arguments) const {
    return user_ + SIMCLUSTER_PROGRAM " --state " + scratch_ + "/cluster " + arguments;
  }
  ShellResult Run(const std::string& arguments) const { return Shell(Command(arguments)); }
  std::string Do(const std::string& arguments) const { return Run(arguments).output; }

  std::string user_, scratch_;
};

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

// tavohactl with the built library at work on both nodes. The library's pauses pass at once, also
// for the cluster.
class TwoNodeCluster : public Launched {
 protected:
  void SetUp() override {
    ASSERT_EQ(Start().output, "");
    Take({{"nas-a", "cluster init --full --yes", 0, "the default configuration is loaded\n", "",
           "10 5 "},
          {"nas-a", "resource where IP", 1, "nowhere\n"},
          {"nas-a", "node online local", 0, "nas-a is online\n"},
          {"nas-a", "node online remote", 0, "nas-b is online\n", "nas-a", "10 10 "}});
  }

  ShellResult Tavohactl(const std::string& node, const std::string& command_line) const {
    return Run("run " + node +
               " -- env LD_PRELOAD=" VIRTUAL_TIME_LIBRARY
               " VIRTUAL_TIME_LOG=/run/simcluster/pauses tavohactl " +
               command_line);
  }
  // The pauses since the last call, in whole seconds.
  std::string TakePauses() {
    const std::string file = scratch_ + "/cluster/cluster/pauses";
    const std::string all = Shell("sed 's/[.].*//' " + file + " 2>/dev/null | tr '\\n' ' '").output;
    return all.substr(std::min(all.size(), std::exchange(seen_, all.size())));
  }

  // What the cluster itself has on record about a node, in the words of "tavohactl status".
  json OnRecord(const std::string& host) const {
    const std::string cib = Do("cib");
    std::smatch state;
    const std::regex form("<node_state id=\"" + host +
                          "\"[^>]*crmd=\"online\" standby=\"(\\w+)\"[^]*?</node_state>");
    EXPECT_TRUE(std::regex_search(cib, state, form)) << cib;
    const auto runs = [&](const std::string& resource) {
      return state.str().find("<lrm_resource id=\"" + resource) != std::string::npos;
    };
    json rules = json::array();
    const std::regex rule("<rsc_location id=\"RULE_SERV_FAIL\" node=\"" + host + "\"");
    if (std::regex_search(cib, rule)) rules.push_back("serv-fail");
    return {{"host_name", host},
            {"status", state[1] == "true" ? "warning_online" : "online"},
            {"role", runs("DUMMY_END") ? "active"
                     : runs("DRBD_")   ? "passive"
                                       : "none"},
            {"rules", rules}};
  }
  // Compares that with what both nodes say, and returns which host is active.
  std::string ActiveAsAllAgree() const {
    const json record = {OnRecord("nas-a"), OnRecord("nas-b")};
    for (const std::string asked : {"nas-a", "nas-b"}) {
      json status = json::parse(Tavohactl(asked, "status --json").output);
      for (json& node : status["nodes"]) {
        const bool local = node["host_name"] == asked;
        EXPECT_EQ(node["local"], local);
        EXPECT_TRUE(!local || status["active"] == (node["role"] == "active"));
        for (const char* member : {"local", "node"}) node.erase(member);
      }
      EXPECT_EQ(status["nodes"], record) << "as seen by " << asked;
    }
    for (const json& node : record) {
      if (node["role"] == "active") return node["host_name"];
    }
    return "";
  }

  // One order: to tavohactl on a node, or without one to the launcher itself.
  struct Step {
    const char *node, *command_line;
    int status = 0;
    std::string output{};
    const char* active = nullptr;  // where given: the active host after it, as all agree
    const char* pauses = nullptr;  // where given: those since the last that were
  };
  void Take(const std::vector<Step>& steps) {
    for (const auto& [node, command_line, status, output, active, pauses] : steps) {
      SCOPED_TRACE(std::string(node) + ": " + command_line);
      EXPECT_EQ(*node == '\0' ? Run(command_line) : Tavohactl(node, command_line),
                (ShellResult{output, status}));
      if (pauses != nullptr) {
        EXPECT_THAT(TakePauses(), MatchesRegex(pauses));
      }
      if (active != nullptr) {
        EXPECT_EQ(ActiveAsAllAgree(), active);
      }
    }
  }

  const std::string look_ = "; see the system log, lines with [HA-ERROR]\n";

 private:
  size_t seen_ = 0;
};

TEST_F(TwoNodeCluster, GoesThroughItsLifeWithTavohactl) {
  Take({
      {"nas-a", "resource configured IP", 0, "yes\n"},
      {"nas-b", "wait", 0, "settled: this node is passive\n"},
      {"nas-b", "resource where DRBD", 0, "nas-a\nnas-b\n"},
      {"nas-b", "resource where IP nas-a", 0, "yes\n"},
      {"nas-b", "node exists remote", 0, "yes\n"},
      {"nas-a", "node standby local", 0, "nas-a is on standby\n", "nas-b"},
      {"nas-a", "node online local", 0, "nas-a is online\n", "nas-b"},
      {"nas-a", "rule add remote serv-fail", 0,
       "the rule serv-fail keeps the resources off nas-b\n", "nas-a"},
      {"nas-a", "rule add serv-fail", 1,
       "tavohactl: the rule serv-fail stands for the other node; remove it first\n"},
      {"nas-b", "rule add sb", 0, "the rule sb keeps the resources off nas-b\n"},
      {"nas-b", "rule list", 0,
       "RULE       NODE   HOST NAME\nserv-fail  host1  nas-b\nsb         host1  nas-b\n"},
      {"nas-a", "rule remove serv-fail", 0, "the rule serv-fail is removed\n"},
      {"nas-a", "rule remove sb", 0, "the rule sb is removed\n"},
      {"nas-a", "rule list remote", 0, "RULE  NODE   HOST NAME\nsb    host1  nas-b\n"},
      {"nas-a", "rule clear remote", 0, "no rule keeps the resources off nas-b\n", "nas-a"},
      {"", "run nas-a sh -c 'cd /var/lib/ha/lsyncd; echo error desc:disk full >>status'"},
      {"nas-a", "sync status", 0,
       "STATE    VALUE\nrunning  yes\nsynced   yes\n\nERROR\ndisk full\n"},
      // What could steer a terminal is not shown.
      {"", "run nas-a sh -c 'printf mo\\\\033ve:\\\\377 >/var/lib/ha/lsyncd/events'"},
      {"nas-a", "sync events", 0, "KEY    VALUE\nmo?ve  \xff\n"},
      {"nas-a", "sync events --json | tail -n5 | tr -d ' \\n'", 0,
       "\"key\":\"mo\\u001bve\",\"value\":\"\uFFFD\"}]}"},
      {"nas-a", "sync check", 0, "the daemon has been told to check\n"},
      {"nas-b", "sync abandoned", 0, "KEY        VALUE\n/etc/motd  no such file\n"},
      {"nas-a", "peer send HELLO --file /run/none", 1,
       "tavohactl: the message could not be sent to nas-b" + look_},
      {"nas-a", "peer smart-test /dev/sda", 0, "the order for the test is sent to nas-b\n"},
      {"nas-a", "peer trim /volume1", 0, "the order to trim is sent to nas-b\n"},
      {"nas-a", "peer sync-sys-part", 0, "the order is sent to nas-b\n"},
      {"", "run nas-a sh -c 'printf a\\\\0b >/run/payload'"},
      {"nas-a", "peer send HELLO --file /run/payload", 0, "the message is sent to nas-b\n"},
      {"", "messages nas-b", 0,
       "000001: SMARTEST/dev/sda\n000002: SSD_TRIM/volume1\n000003: SYNCMD01\n"
       "000004: -fIlE-:/run/payload\n000004.file: HELLO\na" +
           std::string("\0b\n", 3)},
      {"nas-b", "ip status", 0, "managed\n"},
      {"nas-a", "ip unmanage", 0, "unmanaged\n"},
      {"nas-b", "ip status", 1, "unmanaged\n"},
      {"nas-a", "ip restart", 0, "the service address is restarted, and managed\n"},
      {"", "journal host0", 0,
       "IPaddr2 stop | OCF_ROOT=/lib/ocf\nIPaddr2 start | OCF_ROOT=/lib/ocf\n"},
      {"nas-a", "cluster clean", 0, "what manual interventions left is removed\n", "nas-a"},
      {"nas-a", "cluster reset --yes", 1,
       "tavohactl: the configuration is not erased: while resources run, only --full does that" +
           look_},
      {"nas-a", "cluster reset --full --yes", 0, "the configuration is erased\n"},
  });
}

TEST_F(TwoNodeCluster, SurvivesFailuresAndSlownessAndLosesItsPeer) {
  Take({
      {"", "fault tool IPaddr2 fail"},
      {"nas-a", "ip restart", 1,
       "tavohactl: the service address could not be restarted, and stays unmanaged until "
       "\"tavohactl ip manage\"" +
           look_},
      {"nas-b", "ip status", 1, "unmanaged\n"},
      {"nas-b", "ip manage", 0, "managed\n"},
      {"", "fault operation host0 SERV"},
      {"nas-a", "node failed-op local", 0, "yes\n", "nas-b"},
      {"nas-a", "node failed-op remote", 1, "no\n"},
      {"", "fault operation nas-b FS"},
      // It gets further along the chain.
      {"nas-b", "role host0", 0, "active_partial\n"},
      {"nas-a", "role host1", 0, "passive\n"},
      {"nas-a", "node standby local", 1, "tavohactl: nas-a did not go on standby" + look_},
      {"nas-a", "node online local", 0, "nas-a is online\n"},
      {"nas-a", "node failed-op local", 1, "no\n", "nas-a"},
      {"", "run host0 crm -F node clearstate nas-b", 0, "", nullptr, ".*"},
      {"", "fault slow 25"},
      {"nas-b", "node standby remote", 0, "nas-a is on standby\n"},
      // Some time really passed.
      {"nas-b", "node online remote", 0, "nas-a is online\n", nullptr,
       "(1 ){15,25}10 10 10 (10 )?"},
      {"", "fault slow 0", 0, "", "nas-b"},
      {"nas-b", "rule add remote serv-fail", 0,
       "the rule serv-fail keeps the resources off nas-a\n"},
      {"nas-b", "cluster remove-peer --text farewell --yes", 0, "nas-a is removed\n", nullptr,
       "1 30 "},
      {"", "messages nas-a", 0, "000001: UNBIND  farewell\n"},
      {"", "run host1 crm_node --list", 0, "33685161 nas-b member\n"},
      {"nas-b", "node exists remote", 1, "no\n"},
      {"", "cib | grep -e nas-a -e RULE_", 1},
      {"", "fault node host0 online"},
      {"nas-b", "role", 0, "active\n"},
  });
}

TEST_F(TwoNodeCluster, SerialisesChangesAndReportsNothingThatIsNotDone) {
  const auto add = [&](const std::string& node, const std::string& rule) {
    return Command("run " + node + " tavohactl rule add " + rule + " & ");
  };
  Shell(add("nas-a", "sync-done") + add("nas-a", "space-sync") + add("nas-b", "sb") + "wait");
  Take({{"nas-a", "rule list", 0,
         "RULE        NODE   HOST NAME\nsync-done   host0  nas-a\nspace-sync  host0  nas-a\n"
         "sb          host1  nas-b\n"},
        {"", "fault node nas-b offline"},
        {"nas-a", "status", 0,
         "this host:        nas-a\ncluster:          warning\nrunning:          yes\n"
         "active:           no\nsafe mode:        no\nupgrading:        no\n"
         "corosync alive:   yes\npacemaker alive:  yes\n\n"
         "NODE   HOST NAME  LOCAL  STATUS   ROLE     RULES\n"
         "host0  nas-a      yes    online   passive  sync-done, space-sync\n"
         "host1  nas-b      no     offline  none     sb\n"},
        {"", "fault node nas-b online"},
        {"nas-a", "rule clear local", 0, "no rule keeps the resources off nas-a\n"}});
  EXPECT_THAT(Do("log host0") + Do("log host1"), Not(HasSubstr("ERROR")));

  const struct {
    std::string tool, fault;
    const char* command_line;
    int status;
    std::string output;
  } cases[] = {{"crm_mon", "noise", "node online local", 1,
                "tavohactl: nas-a is not online but unknown" + look_},
               {"crm_resource", "kill", "role", 0, "not_ready\n"},
               {"crm_resource", "none", "role", 0, "active\n"},
               {"crm_resource", "fail", "ip unmanage", 1,
                "tavohactl: the service address is still managed" + look_},
               {"cibadmin", "fail", "rule add sb", 1,
                "tavohactl: the rule sb could not be added for nas-a" + look_},
               {"cibadmin", "kill", "rule list", 0, "no rules\n"},
               {"crm_resource", "fail", "cluster init --yes", 1,
                "tavohactl: the default configuration could not be loaded" + look_}};
  for (const auto& [tool, fault, command_line, status, output] : cases) {
    Do("fault tool " + tool + " " + fault);
    Take({{"nas-a", command_line, status, output}});
    Do("fault tool " + tool + " none");
  }
}

TEST_F(TwoNodeCluster, CarriesMessagesAndLogRecordsToThePeer) {
  const std::string arrived = scratch_ + "/cluster/cluster/messages/nas-b/00000";
  int number = 0;
  for (const size_t size : {1U, 8U, 1023U, 2000U}) {
    const std::string message(size, 'm'),
        sent = message.substr(0, 1023), payload = message + std::string("\0\n", 2),
        send = "peer send " + message, with_file = send + " --file /tmp/payload";
    WriteFile(scratch_ + "/payload", payload);
    Shell("<" + scratch_ + "/payload " + Command("run host0 tee /tmp/payload"));
    Take({{"nas-a", send.c_str(), 0, "the message is sent to nas-b\n"},
          {"nas-a", with_file.c_str(), 0, "the message is sent to nas-b\n"}});
    EXPECT_EQ(ReadFile(arrived + std::to_string(++number)), sent);
    EXPECT_EQ(ReadFile(arrived + std::to_string(++number)), "-fIlE-:/tmp/payload");
    EXPECT_EQ(ReadFile(arrived + std::to_string(number) + ".file"), sent + "\n" + payload);
  }

  const std::string silent =
      "tavohactl: nas-b did not record the event: it is not online, or did not answer" + look_;
  const char *records = "run host1 cat /var/log/ha_events.log",
             *record =
                 "HostName=\"nas-a\" LogType=\"1\" LogClass=\"2\" User=\"admin\" "
                 "Event=\"a disk failed\"\n";
  Take({{"nas-a", "peer log 'a disk failed' --type 1 --class 2 --user admin", 0,
         "nas-b has answered\n", nullptr, ""},
        {"", records, 0, record},
        {"", "log host0 | grep syslog", 1},
        {"", "fault log fail"},
        {"nas-a", "peer log again", 0, "nas-b has answered\n"},
        {"", "fault log silent"},
        {"nas-a", "peer log again", 1, silent, nullptr, "(1 ){11}"},
        {"", records, 0, record},
        {"", "run host0 sh -c 'ls /tmp/ha | grep tavolog_re'", 1},
        {"", "fault node host1 lost"},
        {"nas-a", "peer log again", 1, silent}});
  EXPECT_THAT(Do("log host0"),
              AllOf(HasSubstr("Failed to send syslog to active node."),
                    HasSubstr("Wait for syslog response from remote node timeout")));
}

TEST_F(TwoNodeCluster, MovesItsAddressWithTheActiveRole) {
  const std::string mac = Do("run host0 ip -br link show ovs_eth0 | awk '{print $3}'");
  if (mac.size() < 17) GTEST_SKIP() << "no interface can be made here: " << Do("log host0");
  const auto show = [&](const std::string& node) {
    return json::parse(Tavohactl(node, "interface show ovs_eth0 --json").output)["live_address"];
  };
  Take({{"nas-a", "mac 0", 0, mac}});
  EXPECT_EQ(show("nas-a"), "192.0.2.100");
  Tavohactl("nas-a", "interface set ovs_eth0 192.0.2.101 255.255.0.0");
  EXPECT_EQ(show("nas-a"), "192.0.2.101");
  Tavohactl("nas-a", "node standby local");
  for (int i = 0; i < 1000 && show("nas-b").is_null(); ++i) {
  }
  EXPECT_EQ(show("nas-b"), "192.0.2.100");
}

}  // namespace
