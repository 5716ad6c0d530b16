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
  WriteFile("/etc.defaults/tavoinfo.conf", "upnpmodelname=\"N1\"\n");
  WriteFile("/tmp/.ha.status", "BINDING=\"3\"\n");
  WriteFile("/var/lib/ha/ip.remote", "192.0.2.1\n");
  ExpectOutcomes({{"", "serial", 1, "", "there is no serial number; see the system log"},
                  {"", "interface list", 0, "main:        -\nheartbeat:   -\ninterfaces:  -\n", ""},
                  {"", "mac 2", 1, "", "port 2 has no MAC address"}});
  WriteFile(kConfFile, ReadFile(kConfFile) +
                           "ha_sn=\"S1\"\nha_if7=\"eth7\"\nha_ip7=\"192.0.2.1\"\n"
                           "ha_netmask7=\"255.255.255.0\"\nha_if_enabled7=\"true\"\n"
                           "ha_if_main=\"eth7\"\ndrbd_if=\"eth1\"\n");
  ExpectOutcomes(
      {{"", "serial", 0, "S1\n", ""},
       {"", "model", 0, "N1\n", ""},
       {"", "hostname nas", 0, "cluster:  nas\nlocal:    nas-a\nremote:   nas-b\n", ""},
       {"", "binding", 0,
        "binding:             yes\nbinding progress:    3\nunbinding progress:  -\n", ""},
       {"", "conflict 192.0.2.2", 1, "no\n", ""},
       {"", "conflict 192.0.2.1", 0, "yes\n", ""},
       {"", "interface list", 0,
        "main:       eth7\nheartbeat:  eth1\n\n"
        "INTERFACE  ADDRESS    NETMASK\neth7       192.0.2.1  255.255.255.0\n",
        ""},
       {"", "interface show", 0,
        "interface:     eth7\nenabled:       yes\naddress:       192.0.2.1\n"
        "netmask:       255.255.255.0\nlive address:  -\nlive netmask:  -\n",
        ""},
       {"", "interface show eth1", 1, "", "ha.conf does not say it all about eth1"},
       {"", "space expanding /volume1", 1, "", "the marker could not be written"},
       {"mkdir /tmp/ha", "space expanding /volume1", 0, "/volume1 is marked as being expanded\n",
        ""},
       {"", "space fake-role primary", 0, "primary\n", ""},
       {"", "space fake-role", 0, "primary\n", ""},
       {"", "space fake-role none", 0, "none\n", ""},
       {"", "space fake-role primer", 2, "", "did you mean \"primary\"?"},
       {"", "peer log event --class x", 2, "", "--class: "},
       {"", "sync status", 1, "", "the daemon does not run (/var/run/ha/lsyncd.pid)\n"},
       {"", "sync password 7", 1, "", "the password files in /usr/tavo/tavoha/etc/confsync could"},
       {"mkdir /usr/tavo/tavoha/etc/confsync", "sync password 4294967296", 2, "",
        "a password is a number from 0 to 4294967295"},
       {"echo 8 >/run/secret", "sync password </run/secret", 0, "both password files are written\n",
        ""},
       {"rm /etc.defaults/tavoinfo.conf", "model", 1, "", "there is no model name"}});
  EXPECT_THAT(ReadFile("/tmp/ha/ha_is_expanding_space"), HasSubstr("expandSpace=/volume1\n"));
  EXPECT_EQ(ReadFile("/usr/tavo/tavoha/etc/confsync/rsync.pw"), "8");
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
