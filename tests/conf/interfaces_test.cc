// The kernel asked is a real one, in a network of the test's own.
#include <tavohacore/conf.h>

#include "platform/tavlib.h"
#include "simcluster/network/interface.h"
#include "tests/frame/logged.h"

namespace {

using namespace test_support;
using simcluster::AddInterface;
using simcluster::SetAddress;

struct Interfaces : Logged {
  Interfaces() {
    EXPECT_EQ(simcluster::EnterOwnNetwork(), "");
    SetRunning(true);
  }
};

constexpr char kEth0[] =
    "ha_if_main=\"eth0\"\nha_if0=\"eth0\"\nha_ip0=\"10.0.0.1\"\n"
    "ha_netmask0=\"255.0.0.0\"\nha_if_enabled0=\"true\"\n";

TEST_F(Interfaces, RelatedInfoIsWhatTheKernelHasForTheAlias) {
  ASSERT_EQ(AddInterface("eth0") + AddInterface("ovs_bond1"), "");
  ASSERT_EQ(SetAddress("eth0", "172.16.0.1", "255.255.0.0"), "");
  ASSERT_EQ(SetAddress("eth0:HA", "10.1.2.3", "255.255.254.0"), "");
  ASSERT_EQ(SetAddress("ovs_bond1:HA", "192.168.200.254", "255.255.255.252"), "");
  SetConf(std::string(kEth0) + "ha_bond_if1=\"ovs_bond1\"\nha_bond_if_enabled1=\"true\"\n");
  const auto info = [this](const char* name) {
    char address[16], netmask[16];
    EXPECT_EQ(Outcome(TAVOHAGetRelatedIFInfo(name, address, 16, netmask, 16)), "0");
    return std::string(address) + "/" + netmask;
  };
  for (const char* name : {"eth0", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(info(name), "10.1.2.3/255.255.254.0");
  }
  EXPECT_EQ(info("ovs_bond1"), "192.168.200.254/255.255.255.252");
  char address[] = "?", netmask[16];
  EXPECT_EQ(TAVOHAGetRelatedIFInfo("eth0", address, 0, netmask, 8), 0);
  EXPECT_STREQ(address, "?") << "not asked for";
  EXPECT_STREQ(netmask, "255.255") << "cut to its 8 bytes";
}

TEST_F(Interfaces, RelatedInfoFailsWithItsLineOrRecord) {
  ASSERT_EQ(AddInterface("eth0") + AddInterface("eth2"), "");
  ASSERT_EQ(SetAddress("eth2:HA", "10.0.0.1", "255.0.0.0"), "");
  const std::string eth2 = "ha_if2=\"eth2\"\nha_if_enabled2=\"true\"\n";
  const std::tuple<const char*, std::string, int, int, int, std::string> cases[] = {
      {"eth0", kEth0, 0, 0, 0x0D00, ""},
      {nullptr, "", 16, 16, -1, "ERROR: Failed to get HA main interface"},
      {nullptr, "ha_if_main=\"\"\n", 16, 16, 0x0D00, ""},
      {"lo", kEth0, 16, 16, 0xD900, ""},
      {"eth0", "", 16, 16, -1, "ERROR: Failed to get eth0 enabled in ha.conf"},
      {"eth0", "ha_if0=\"eth00\"\n", 16, 16, -1, "DEBUG: Failed to get eth0 in ha.conf [eth00]"},
      {"eth0", "ha_if0=\"eth0\"\n", 16, 16, -1, "ERROR: Failed to get eth0 enabled in ha.conf"},
      {"eth0", "ha_if0=\"eth0\"\nha_if_enabled0=\"True\"\n", 16, 16, -1, ""},
      {"eth0", kEth0, 16, 16, -1,
       "ERROR: ioctl addr failed - eth0:HA: Cannot assign requested address"},
      {"eth0", kEth0, 0, 16, -1,
       "ERROR: ioctl mask addr failed - eth0:HA: Cannot assign requested address"},
      {"ovs_eth1abcdefgh", "ha_if1=\"ovs_eth1abcdefgh\"\nha_if_enabled1=\"true\"\n", 16, 16, -1,
       "ERROR: ioctl addr failed - ovs_eth1abcdefg: No such device"},
      {"eth2", eth2, 1, 16, -1, "ERROR: ioctl ip failed - eth2:HA"},
      {"eth2", eth2, 16, 1, -1, "ERROR: ioctl mask failed - eth2:HA"}};
  char address[16], netmask[16];
  for (auto [ifname, conf, address_size, netmask_size, record, line] : cases) {
    SCOPED_TRACE(conf);
    SetConf(conf);
    TAVLIBErrSetEx(-1, "none", 0);
    if (!line.empty()) line.insert(5, " ha_get_related_if_info").insert(0, " ");
    EXPECT_EQ(Outcome(TAVOHAGetRelatedIFInfo(ifname, address, address_size, netmask, netmask_size)),
              "-1" + line);
    EXPECT_EQ(record == -1 ? -1 : TAVLIBErrGet(), record);
  }
  SetRunning(false);
  EXPECT_EQ(Outcome(TAVOHAGetRelatedIFInfo("eth2", address, sizeof address, nullptr, 0)), "-1");
  EXPECT_EQ(TAVLIBErrGet(), 0xD900);
}

TEST_F(Interfaces, MacIsTheRecordedOneOrTheKernelsOrFailsWithItsLine) {
  constexpr char kRecorded[] = "ha_mac_1=\"00:11:22:33:44:AA\"\n";
  char mac[18];
  SetConf("");
  EXPECT_EQ(Outcome(TAVOHAGetMac(1, mac, sizeof mac)),
            "-1 ERROR conf: Failed to get original mac: ovs_eth1. No such device");
  EXPECT_EQ(Outcome(TAVOHAGetMac(1, nullptr, 18)), "-1 ERROR conf: Invalid argument");
  EXPECT_EQ(Outcome(TAVOHAGetMac(1, mac, 0)), "-1 ERROR conf: Invalid argument");

  ASSERT_EQ(AddInterface("ovs_eth1"), "");
  const std::string hardware = Shell("ip -br link show ovs_eth1 | awk '{printf $3}'").output;
  for (const auto& [running, size, conf, expected] :
       {std::tuple(true, 18U, "", hardware),
        {true, 18U, kRecorded, "00:11:22:33:44:AA"},
        {false, 9U, kRecorded, hardware.substr(0, 8)}}) {
    SetRunning(running);
    SetConf(conf);
    EXPECT_EQ(Outcome(TAVOHAGetMac(1, mac, size)),
              running ? "0" : "0 INFO conf: HA is not running");
    EXPECT_EQ(mac, expected);
  }
}

TEST_F(Interfaces, ConfiguredInfoIsReadFromTheKeysOfTheKind) {
  const std::string error = "-1 ERROR conf: ", failed = error + "Failed to get ";
  const struct {
    const char* ifname;
    std::string outcome, address, netmask;
    BOOL enabled = -1;
  } cases[] = {{"ovs_eth0", "0", "10.0.0.1", "255.0.0.0", 1},
               {"bond0", "0", "10.0.0.2", "255.255.0.0", 0},
               {"lo", error + "Failed to parse interface lo", "?", "?"},
               {"eth1", failed + "if enabled from conf. [eth1] 1.", "10.0.0.3", "255.0.0.0"},
               {"eth2", failed + "netmask from conf. [eth2] 2.", "10.0.0.4", ""},
               {"eth3", failed + "ip from conf. [eth3] 3.", "", "?"},
               {nullptr, error + "Invalid argument", "?", "?"}};
  SetConf(std::string(kEth0) +
          "ha_bond_ip0=10.0.0.2\nha_bond_netmask0=255.255.0.0\nha_bond_if_enabled0=TRUE\n"
          "ha_ip1=10.0.0.3\nha_netmask1=255.0.0.0\nha_ip2=10.0.0.4\n");
  for (const auto& c : cases) {
    char address[16] = "?", netmask[16] = "?";
    BOOL enabled = -1;
    EXPECT_EQ(Outcome(TAVOHAGetIFConfInfo(c.ifname, address, 16, netmask, 16, &enabled)),
              c.outcome);
    EXPECT_EQ(address, c.address);
    EXPECT_EQ(netmask, c.netmask);
    EXPECT_EQ(enabled, c.enabled);
  }
  char main[8];
  EXPECT_EQ(Outcome(TAVOHAGetIFMain(main, sizeof main)), "0");
  EXPECT_STREQ(main, "eth0");
  EXPECT_EQ(Outcome(TAVOHAGetIFMain(main, 0)), error + "Invalid argument");
  SetRunning(false);
  BOOL enabled;
  EXPECT_EQ(Outcome(TAVOHAGetIFConfInfo("eth0", main, 8, main, 8, &enabled)), "-1");
  EXPECT_EQ(Outcome(TAVOHAGetIFMain(main, sizeof main)), "-1");
}

TEST_F(Interfaces, AddressIsRecordedOnlyWhenEnabledAndRestartedInAnyCase) {
  ScriptedTool agent("/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2");
  ScriptedTool resource_tool("/usr/bin/crm_resource"), query_tool("/usr/bin/cibadmin");
  resource_tool.Answer({{}});
  const auto set = [&](const char* ifname, const char* address, BOOL enable, int agent_status) {
    query_tool.Answer({{}, {.exit_status = 6}});  // unmanaged, then managed again
    agent.Answer({{.exit_status = agent_status}});
    return Outcome(TAVOHASetIFConfInfo(ifname, address, "255.0.0.0", enable));
  };
  const std::string old = "ha_bond_if1=\"old\"\nha_bond_ip1=\"old\"\nha_bond_netmask1=\"old\"\n";
  for (const BOOL enable : {1, 2}) {
    SetConf(old);
    EXPECT_THAT(set("bond1", "10.0.0.9", enable, 0),
                AllOf(StartsWith("0 "), Not(HasSubstr("ERROR"))));
    EXPECT_EQ(ReadFile(kConfFile),
              enable == 1 ? "ha_bond_if1=\"bond1\"\nha_bond_ip1=\"10.0.0.9\"\n"
                            "ha_bond_netmask1=\"255.0.0.0\"\nha_bond_if_enabled1=\"true\"\n"
                          : old + "ha_bond_if_enabled1=\"false\"\n");
    EXPECT_THAT(TakeCommandLines(), Contains(EndsWith("IPaddr2 start")));
  }
  // What cannot be written does not count.
  EXPECT_THAT(set("eth3", "two\nlines", 1, 0),
              AllOf(StartsWith("0 "), HasSubstr("ERROR conf: Failed to set config:26. idx:3.; ")));
  EXPECT_THAT(ReadFile(kConfFile), EndsWith("ha_if3=\"eth3\"\nha_netmask3=\"255.0.0.0\"\n"
                                            "ha_if_enabled3=\"true\"\n"));
  EXPECT_THAT(set("eth3", "10.0.0.9", 1, 1),
              AllOf(StartsWith("-1 "), EndsWith("; ERROR conf: Failed to restart ip.")));

  TakeCommandLines();
  EXPECT_EQ(set("lo", "10.0.0.9", 1, 0), "-1 ERROR conf: Failed to parse interface lo");
  EXPECT_EQ(set("eth0", nullptr, 0, 0), "-1 ERROR conf: Invalid argument");
  SetRunning(false);
  EXPECT_EQ(set("eth0", "10.0.0.9", 1, 0), "-1 ERROR conf: ha not runnign");
  EXPECT_TRUE(TakeCommandLines().empty());
}

}  // namespace
