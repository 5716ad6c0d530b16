// What a node can do without its cluster.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/support/files.h"
#include "tests/support/scripted_tool.h"
#include "tests/tavohactl/run.h"

namespace test_support {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kConfFile[] = "/usr/tavo/tavoha/etc/ha.conf";

struct Case {
  const char* before;
  const char* command_line;
  int status;
  const char* output;
  const char* error;
};

// Runs the cases one after another.
void ExpectOutcomes(const std::vector<Case>& cases) {
  for (const auto& [before, command_line, status, output, error] : cases) {
    SCOPED_TRACE(std::string(before) + "; " + command_line);
    const Outcome outcome = Tavohactl(command_line, before);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.output, output);
    EXPECT_THAT(outcome.error, HasSubstr(error));
    EXPECT_EQ(outcome.error.empty(), *error == '\0') << outcome.error;
  }
}

TEST(CtlNode, NamesAndNumbersAreTheLibrarys) {
  StartHa();
  ExpectOutcomes({
      {"", "hostname nas", 0, "cluster:  nas\nlocal:    nas-a\nremote:   nas-b\n", ""},
      {"rm /tmp/.ha.running", "hostname", 0, "cluster:  nas\nlocal:    nas-a\nremote:   -\n", ""},
      {"touch /tmp/.ha.running", "serial", 1, "", "there is no serial number; see the system log"},
      {"echo 'ha_sn=\"S1\"' >>/usr/tavo/tavoha/etc/ha.conf", "serial", 0, "S1\n", ""},
      {"", "serial --custom", 1, "", "there is no serial number"},
      {"", "model", 1, "", "there is no model name"},
      {"echo 'upnpmodelname=\"N1\"' >/etc.defaults/tavoinfo.conf", "model", 0, "N1\n", ""},
      {"", "binding", 0,
       "binding:             no\nbinding progress:    -\nunbinding progress:  -\n", ""},
      {"echo 'BINDING=\"3\"' >/tmp/.ha.status", "binding", 0,
       "binding:             yes\nbinding progress:    3\nunbinding progress:  -\n", ""},
      {"", "conflict 192.0.2.1", 1, "no\n", ""},
      {"echo 192.0.2.1 >/var/lib/ha/ip.remote", "conflict 192.0.2.1", 0, "yes\n", ""},
      {"", "interface list", 0, "main:        -\nheartbeat:   -\ninterfaces:  -\n", ""},
      {"cd /usr/tavo/tavoha/etc; printf '%s=\"%s\"\\n' ha_if0 eth0 ha_ip0 192.0.2.1 "
       "ha_netmask0 255.255.255.0 ha_if_enabled0 true ha_if_main eth0 drbd_if eth1 >>ha.conf",
       "interface list", 0,
       "main:       eth0\nheartbeat:  eth1\n\n"
       "INTERFACE  ADDRESS    NETMASK\neth0       192.0.2.1  255.255.255.0\n",
       ""},
      {"", "interface show", 0,
       "interface:     eth0\nenabled:       yes\naddress:       192.0.2.1\n"
       "netmask:       255.255.255.0\nlive address:  -\nlive netmask:  -\n",
       ""},
      {"", "interface show eth1", 1, "", "ha.conf does not say it all about eth1"},
      {"", "mac 3", 1, "", "port 3 has no MAC address"},
      {"echo 'ha_mac_3=\"02:00:00:00:00:03\"' >>/usr/tavo/tavoha/etc/ha.conf", "mac 3", 0,
       "02:00:00:00:00:03\n", ""},
  });
}

TEST(CtlNode, MarkersAndPasswordsAreWritten) {
  ExpectOutcomes({
      {"", "space expanding /volume1", 1, "", "the marker could not be written; see the system"},
      {"mkdir /tmp/ha", "space expanding /volume1", 0, "/volume1 is marked as being expanded\n",
       ""},
      {"", "space fake-role", 0, "none\n", ""},
      {"", "space fake-role primary", 0, "primary\n", ""},
      {"", "space fake-role", 0, "primary\n", ""},
      {"", "space fake-role none", 0, "none\n", ""},
      {"", "space fake-role primer", 2, "", "did you mean \"primary\"?"},
      {"", "sync password 7", 1, "", "the password files in /usr/tavo/tavoha/etc/confsync could"},
      {"mkdir /usr/tavo/tavoha/etc/confsync; echo 8x >/run/secret", "sync password </run/secret", 2,
       "", "a password is a number"},
      {"echo 8 >/run/secret", "sync password </run/secret", 0, "both password files are written\n",
       ""},
      {"", "sync password 4294967296", 2, "", "a password is a number from 0 to 4294967295"},
      {"", "sync password 4294967295", 0, "both password files are written\n", ""},
  });
  EXPECT_THAT(ReadFile("/tmp/ha/ha_is_expanding_space"), HasSubstr("expandSpace=/volume1\n"));
  EXPECT_EQ(ReadFile("/usr/tavo/tavoha/etc/confsync/rsync.pw"), "4294967295");
}

TEST(CtlNode, OrdersReachThePeer) {
  StartHa();
  ScriptedTool crm_node("/usr/bin/crm_node"), crm_mon("/usr/bin/crm_mon");
  crm_node.Answer({{}});
  crm_mon.Answer({{.output = "nas-a: ONLINE\nnas-b: OFFLINE\n"}});
  WriteFile("/run/payload", "rest\n");
  ExpectOutcomes({
      {"", "peer send 'SYNCMD02 now'", 0, "the message is sent to nas-b\n", ""},
      {"", "peer send HELLO --file /run/payload", 0, "the message is sent to nas-b\n", ""},
      {"", "peer send HELLO --file /run/none", 1, "", "could not be sent to nas-b; see the system"},
      {"", "peer smart-test /dev/sda", 0, "the order for the test is sent to nas-b\n", ""},
      {"", "peer trim /volume1", 0, "the order to trim is sent to nas-b\n", ""},
      {"", "peer sync-sys-part", 0, "the order is sent to nas-b\n", ""},
      {"", "peer log event", 1, "", "nas-b did not record the event: it is not online"},
      {"", "peer log event --class x", 2, "", "--class: "},
  });
  EXPECT_THAT(
      TakeCommandLines(),
      ElementsAre("/usr/bin/crm_node --node nas-b --mesg 'SYNCMD02 now'",
                  "/usr/bin/crm_node --node nas-b --mesg -fIlE-:/run/payload",
                  "/usr/bin/crm_node --node nas-b --mesg SMARTEST/dev/sda",
                  "/usr/bin/crm_node --node nas-b --mesg SSD_TRIM/volume1",
                  "/usr/bin/crm_node --node nas-b --mesg SYNCMD01", "/usr/bin/crm_mon -1 -S"));
}

TEST(CtlNode, TheSyncDaemonsAnswersAreShown) {
  // A daemon for one exchange: takes the command, and replies.
  const std::string pid = "mkdir -p /var/run/ha; echo $$ >/var/run/ha/lsyncd.pid; cd /tmp\n",
                    listen = pid +
                             "mkfifo ha.lsyncd.fifoCmd ha.lsyncd.fifoData 2>/dev/null\n"
                             "exec 3<>ha.lsyncd.fifoCmd\n";
  const auto reply = [&](const std::string& lines) {
    return listen + "(head -c1 <&3 >/run/command; printf '" + lines + "' >ha.lsyncd.fifoData) &";
  };
  const std::string status = reply("3\\nidle:true\\nerror desc:disk full\\nstarted:no\\n"),
                    events = reply("2\\ncreate:/a:b\\nmo\\033ve:\\377\\n"), none = reply("0\\n");
  ExpectOutcomes({
      {"", "sync status", 1, "", "the daemon does not run (/var/run/ha/lsyncd.pid)\n"},
      {pid.c_str(), "sync check", 1, "", "/tmp/ha.lsyncd.fifoData cannot be opened\n"},
      {status.c_str(), "sync status", 0,
       "STATE    VALUE\nidle     yes\nstarted  no\n\nERROR\ndisk full\n", ""},
      {events.c_str(), "sync events", 0, "KEY     VALUE\ncreate  /a:b\nmo?ve   \xff\n", ""},
      {none.c_str(), "sync abandoned", 0, "no events\n", ""},
      {listen.c_str(), "sync check", 0, "the daemon has been told to check\n", ""},
  });
  EXPECT_EQ(json::parse(Tavohactl("sync events --json", events).output)["events"][1],
            json({{"key", "mo\033ve"}, {"value", "\uFFFD"}}));
}

TEST(CtlNode, TheConfigurationTravelsAsOneRecord) {
  WriteFile(kConfFile, "host0=\"nas-a\"\ncorosync_key=\"k\"\nmac1_11=\"02:00:00:00:00:0b\"\n");
  const json record = json::parse(Tavohactl("conf export").output);
  EXPECT_EQ(record, json::parse(Tavohactl("conf export --json").output));
  EXPECT_EQ(record.size(), 36U);
  EXPECT_EQ(record["host0"], "nas-a");
  EXPECT_EQ(record["mac1"][11], "02:00:00:00:00:0b");

  json changed = record;
  changed["host1"] = std::string(63, 'b');
  changed["ha_bond_ip"][11] = "192.0.2.11";
  WriteFile("/run/record", changed.dump());
  EXPECT_EQ(Tavohactl("conf import /run/record --yes").status, 0);
  EXPECT_EQ(json::parse(Tavohactl("conf export").output), changed);
  WriteFile("/run/one", R"({"host1": "nas-b"})");
  EXPECT_EQ(Tavohactl("conf import - --yes </run/one").status, 0);
  EXPECT_EQ(Tavohactl("conf get host0").output, "nas-a\n");
  EXPECT_EQ(Tavohactl("conf get host1").output, "nas-b\n");

  const std::string before = ReadFile(kConfFile);
  const std::pair<const char*, const char*> refused[] = {
      {R"({"host9": ""})", "no such field: host9; did you mean \"host0\"?"},
      {R"({"host0": 1})", "host0 must be text"},
      {R"({"drbd_bond_mode_origin": "10"})", "drbd_bond_mode_origin holds at most 1 bytes"},
      {R"({"host0": "a\u0000b"})", "none of them zero"},
      {R"({"mac1": ["a"]})", "mac1 must be a list of 12 texts"},
      {R"(["host0"])", "must hold a JSON object"},
      {R"({"host0": )", "holds no JSON"},
      {R"({"host0": "a\nb"})", "ha.conf could not be written; see the system log"},
  };
  for (const auto& [json_text, error] : refused) {
    WriteFile("/run/record", json_text);
    const Outcome outcome = Tavohactl("conf import /run/record --yes");
    EXPECT_EQ(outcome.status, 1) << json_text;
    EXPECT_THAT(outcome.error, HasSubstr(error));
  }
  EXPECT_THAT(Tavohactl("conf import /run/none --yes").error, HasSubstr("No such file"));
  EXPECT_EQ(ReadFile(kConfFile), before);
}

TEST(CtlNode, WhatDestroysAsksFirst) {
  StartHa();
  WriteFile("/usr/tavo/tavoha/etc.defaults/ha.conf", "host0=\"factory\"\n");
  WriteFile("/run/record", "{}");
  ScriptedTool control("/usr/tavo/tavoha/etc.defaults/rc.ha"), crm("/usr/bin/crm");
  control.Answer({{}, {.exit_status = 3}});
  const std::string before = ReadFile(kConfFile);
  for (const char* command_line :
       {"stop", "conf reset", "conf forget-peer", "conf import /run/record", "cluster init",
        "cluster reset --full", "cluster remove-peer"}) {
    const Outcome outcome = Tavohactl(command_line);
    EXPECT_EQ(outcome.status, 2) << command_line;
    EXPECT_THAT(outcome.error, HasSubstr("say --yes"));
    const Outcome refused = TavohactlAtTerminal(command_line, "y\\n");
    EXPECT_EQ(refused.status, 1) << command_line;
    EXPECT_THAT(refused.output, AllOf(HasSubstr("Type \"yes\" to go on: "),
                                      HasSubstr("tavohactl: nothing was done")));
  }
  EXPECT_THAT(TakeCommandLines(), IsEmpty());
  EXPECT_EQ(ReadFile(kConfFile), before);

  EXPECT_EQ(TavohactlAtTerminal("conf reset", "yes\\n").status, 0);
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"factory\"\n");
  EXPECT_EQ(Tavohactl("stop --yes").output, "HA is stopped on this node\n");
  EXPECT_THAT(Tavohactl("stop --yes").error, HasSubstr("the control script gave 3"));
  EXPECT_THAT(TakeCommandLines(), ElementsAre("/usr/tavo/tavoha/etc.defaults/rc.ha stop",
                                              "/usr/tavo/tavoha/etc.defaults/rc.ha stop"));
}

TEST(CtlNode, ALongWaitIsSeenOnATerminalAndNowhereElse) {
  StartHa();
  ScriptedTool control("/usr/tavo/tavoha/etc.defaults/rc.ha");
  control.Answer({{.delay_milliseconds = 1200}});
  EXPECT_EQ(TavohactlAtTerminal("stop --yes", "").output,
            "\r\033[KStopping HA ... 0:01\r\033[KHA is stopped on this node\r\n");
  const Outcome piped = Tavohactl("stop --yes");
  EXPECT_EQ(piped.output + piped.error, "HA is stopped on this node\n");
}

TEST(CtlNode, WithoutARunningClusterNothingIsSaidAboutIt) {
  for (const char* command_line :
       {"rule list", "rule add sb", "node exists local", "node online local", "wait",
        "resource where IP", "ip status", "cluster clean", "cluster init --yes"}) {
    const Outcome outcome = Tavohactl(command_line);
    EXPECT_EQ(outcome.status, 1) << command_line;
    EXPECT_THAT(outcome.error, HasSubstr("do not run on this node (see \"tavohactl status\")"));
  }
}

}  // namespace
}  // namespace test_support
