// What a node can do without its cluster.
#include "tests/tavohactl/run.h"

namespace {

using namespace test_support;

// Runs tavohactl at a terminal, on which `typed` is typed. Output and error come together.
ShellResult AtTerminal(const std::string& command_line, const std::string& typed) {
  return Shell("printf '" + typed + "' | script -qec '" TAVOHACTL_PROGRAM " " + command_line +
               "' /dev/null");
}

TEST(CtlNode, NamesNumbersAndMarkersAreTheLibrarys) {
  StartHa();
  const std::string conf = "cd /usr/tavo/tavoha/etc; printf '%s=\"%s\"\\n' ";
  ExpectOutcomes(
      {{"", "hostname nas", 0, "cluster:  nas\nlocal:    nas-a\nremote:   nas-b\n", ""},
       {"", "serial", 1, "", "there is no serial number; see the system log"},
       {conf + "ha_sn S1 >>ha.conf", "serial", 0, "S1\n", ""},
       {"", "model", 1, "", "there is no model name"},
       {"echo 'upnpmodelname=\"N1\"' >/etc.defaults/tavoinfo.conf", "model", 0, "N1\n", ""},
       {"echo 'BINDING=\"3\"' >/tmp/.ha.status", "binding", 0,
        "binding:             yes\nbinding progress:    3\nunbinding progress:  -\n", ""},
       {"", "conflict 192.0.2.1", 1, "no\n", ""},
       {"echo 192.0.2.1 >/var/lib/ha/ip.remote", "conflict 192.0.2.1", 0, "yes\n", ""},
       {"", "interface list", 0, "main:        -\nheartbeat:   -\ninterfaces:  -\n", ""},
       {conf + "ha_if0 eth0 ha_ip0 192.0.2.1 ha_netmask0 255.255.255.0 ha_if_enabled0 true "
               "ha_if_main eth0 drbd_if eth1 ha_mac_3 02:00:00:00:00:03 >>ha.conf",
        "interface list", 0,
        "main:       eth0\nheartbeat:  eth1\n\n"
        "INTERFACE  ADDRESS    NETMASK\neth0       192.0.2.1  255.255.255.0\n",
        ""},
       {"", "interface show", 0,
        "interface:     eth0\nenabled:       yes\naddress:       192.0.2.1\n"
        "netmask:       255.255.255.0\nlive address:  -\nlive netmask:  -\n",
        ""},
       {"", "interface show eth1", 1, "", "ha.conf does not say it all about eth1"},
       {"", "mac 2", 1, "", "port 2 has no MAC address"},
       {"", "mac 3", 0, "02:00:00:00:00:03\n", ""},
       {"", "space expanding /volume1", 1, "", "the marker could not be written; see the system"},
       {"mkdir /tmp/ha", "space expanding /volume1", 0, "/volume1 is marked as being expanded\n",
        ""},
       {"", "space fake-role primary", 0, "primary\n", ""},
       {"", "space fake-role none", 0, "none\n", ""},
       {"", "space fake-role", 0, "none\n", ""},
       {"", "space fake-role primer", 2, "", "did you mean \"primary\"?"},
       {"", "sync password 7", 1, "", "the password files in /usr/tavo/tavoha/etc/confsync could"},
       {"mkdir /usr/tavo/tavoha/etc/confsync", "sync password 4294967296", 2, "",
        "a password is a number from 0 to 4294967295"},
       {"echo 8 >/run/secret", "sync password </run/secret", 0, "both password files are written\n",
        ""}});
  EXPECT_THAT(ReadFile("/tmp/ha/ha_is_expanding_space"), HasSubstr("expandSpace=/volume1\n"));
  EXPECT_EQ(ReadFile("/usr/tavo/tavoha/etc/confsync/rsync.pw"), "8");
}

TEST(CtlNode, OrdersReachThePeer) {
  StartHa();
  ScriptedTool crm_node("/usr/bin/crm_node"), crm_mon("/usr/bin/crm_mon");
  crm_node.Answer({{}});
  crm_mon.Answer({{.output = "nas-a: ONLINE\nnas-b: OFFLINE\n"}});
  WriteFile("/run/payload", "rest\n");
  ExpectOutcomes(
      {{"", "peer send 'SYNCMD02 now'", 0, "the message is sent to nas-b\n", ""},
       {"", "peer send HELLO --file /run/payload", 0, "the message is sent to nas-b\n", ""},
       {"", "peer send HELLO --file /run/none", 1, "",
        "could not be sent to nas-b; see the system"},
       {"", "peer smart-test /dev/sda", 0, "the order for the test is sent to nas-b\n", ""},
       {"", "peer trim /volume1", 0, "the order to trim is sent to nas-b\n", ""},
       {"", "peer sync-sys-part", 0, "the order is sent to nas-b\n", ""},
       {"", "peer log event", 1, "", "nas-b did not record the event: it is not online"},
       {"", "peer log event --class x", 2, "", "--class: "}});
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
                    events = reply("2\\ncreate:/a:b\\nmo\\033ve:\\377\\n");
  ExpectOutcomes({{"", "sync status", 1, "", "the daemon does not run (/var/run/ha/lsyncd.pid)\n"},
                  {status, "sync status", 0,
                   "STATE    VALUE\nidle     yes\nstarted  no\n\nERROR\ndisk full\n", ""},
                  {events, "sync events", 0, "KEY     VALUE\ncreate  /a:b\nmo?ve   \xff\n", ""},
                  {listen, "sync check", 0, "the daemon has been told to check\n", ""}});
  EXPECT_EQ(TavohactlJson("sync events", events)["events"][1],
            json({{"key", "mo\033ve"}, {"value", "\uFFFD"}}));
}

TEST(CtlNode, TheConfigurationTravelsAsOneRecord) {
  WriteFile(kConfFile, "host0=\"nas-a\"\ncorosync_key=\"k\"\nmac1_11=\"02:00:00:00:00:0b\"\n");
  const json record = json::parse(Tavohactl("conf export").output);
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
  for (const auto& [json_text, error] :
       {std::pair(R"({"host9": ""})", "no such field: host9; did you mean \"host0\"?"),
        {R"({"host0": 1})", "host0 must be text"},
        {R"({"drbd_bond_mode_origin": "10"})", "drbd_bond_mode_origin holds at most 1 bytes"},
        {R"({"host0": "a\u0000b"})", "none of them zero"},
        {R"({"mac1": ["a"]})", "mac1 must be a list of 12 texts"},
        {R"(["host0"])", "must hold a JSON object"},
        {R"({"host0": )", "holds no JSON"},
        {R"({"host0": "a\nb"})", "ha.conf could not be written; see the system log"}}) {
    WriteFile("/run/record", json_text);
    ExpectOutcomes({{"", "conf import /run/record --yes", 1, "", error}});
  }
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
    const ShellResult refused = AtTerminal(command_line, "y\\n");
    EXPECT_EQ(refused.status, 1) << command_line;
    EXPECT_THAT(refused.output, AllOf(HasSubstr("Type \"yes\" to go on: "),
                                      HasSubstr("tavohactl: nothing was done")));
  }
  EXPECT_THAT(TakeCommandLines(), IsEmpty());
  EXPECT_EQ(ReadFile(kConfFile), before);

  EXPECT_EQ(AtTerminal("conf reset", "yes\\n").status, 0);
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"factory\"\n");
  EXPECT_EQ(Tavohactl("stop --yes").output, "HA is stopped on this node\n");
  EXPECT_THAT(Tavohactl("stop --yes").error, HasSubstr("the control script gave 3"));
  EXPECT_THAT(TakeCommandLines(), ElementsAre("/usr/tavo/tavoha/etc.defaults/rc.ha stop",
                                              "/usr/tavo/tavoha/etc.defaults/rc.ha stop"));
}

TEST(CtlNode, WithoutARunningClusterNothingIsSaidAboutIt) {
  for (const char* command_line : {"rule list", "node exists local", "node online local", "wait",
                                   "resource where IP", "ip status", "cluster init --yes"}) {
    ExpectOutcomes(
        {{"", command_line, 1, "", "do not run on this node (see \"tavohactl status\")"}});
  }
}

}  // namespace
