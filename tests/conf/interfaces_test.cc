// The kernel asked is a real one, in a network of the test's own.
#include <tavohacore/conf.h>

#include "platform/tavlib.h"
#include "simcluster/network/interface.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;
using simcluster::AddInterface;
using simcluster::SetAddress;

struct Interfaces : Test {
  Interfaces() {
    EXPECT_EQ(simcluster::EnterOwnNetwork(), "");
    SetRunning(true);
  }
  LogCapture log;
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
  char address[16], netmask[16];
  for (const char* name : {"eth0", "", static_cast<const char*>(nullptr), "ovs_bond1"}) {
    const bool bond = name != nullptr && name == std::string("ovs_bond1");
    EXPECT_EQ(TAVOHAGetRelatedIFInfo(name, address, sizeof address, netmask, sizeof netmask), 0);
    EXPECT_STREQ(address, bond ? "192.168.200.254" : "10.1.2.3");
    EXPECT_STREQ(netmask, bond ? "255.255.255.252" : "255.255.254.0");
  }
  EXPECT_EQ(TAVOHAGetRelatedIFInfo("eth0", address, 0, netmask, 8), 0);
  EXPECT_STREQ(address, "192.168.200.254") << "not asked for";
  EXPECT_STREQ(netmask, "255.255") << "cut to its 8 bytes";
  EXPECT_EQ(log.Take(), "");
}

TEST_F(Interfaces, RelatedInfoFailsWithItsLineOrRecord) {
  ASSERT_EQ(AddInterface("eth0") + AddInterface("eth2"), "");
  ASSERT_EQ(SetAddress("eth2:HA", "10.0.0.1", "255.0.0.0"), "");
  const std::string eth2 = "ha_if2=\"eth2\"\nha_if_enabled2=\"true\"\n";
  const struct {
    const char* ifname;
    std::string conf;
    int address_size, netmask_size, record;
    std::string line;
  } cases[] = {
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
  for (auto [ifname, conf, address_size, netmask_size, record, line] : cases) {
    SCOPED_TRACE(conf);
    SetConf(conf);
    TAVLIBErrSetEx(-1, "none", 0);
    char address[16], netmask[16];
    EXPECT_EQ(TAVOHAGetRelatedIFInfo(ifname, address, address_size, netmask, netmask_size), -1);
    EXPECT_EQ(record == -1 ? -1 : TAVLIBErrGet(), record);
    if (!line.empty()) line.insert(5, " ha_get_related_if_info");
    EXPECT_EQ(log.Take(), line);
  }
  SetRunning(false);
  char address[16];
  EXPECT_EQ(TAVOHAGetRelatedIFInfo("eth2", address, sizeof address, nullptr, 0), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0xD900);
  EXPECT_EQ(log.Take(), "");
}

TEST_F(Interfaces, MacIsTheRecordedOneOrTheKernelsOrFailsWithItsLine) {
  constexpr char kRecorded[] = "ha_mac_1=\"00:11:22:33:44:AA\"\n";
  char mac[18];
  SetConf("");
  EXPECT_EQ(TAVOHAGetMac(1, mac, sizeof mac), -1);
  EXPECT_EQ(log.Take(), "ERROR conf: Failed to get original mac: ovs_eth1. No such device");
  EXPECT_EQ(TAVOHAGetMac(1, nullptr, 18), -1);
  EXPECT_EQ(TAVOHAGetMac(1, mac, 0), -1);
  EXPECT_EQ(log.Take(), "ERROR conf: Invalid argument; ERROR conf: Invalid argument");

  ASSERT_EQ(AddInterface("ovs_eth1"), "");
  const std::string hardware = Shell("ip -br link show ovs_eth1 | awk '{printf $3}'").output;
  const struct {
    bool running;
    unsigned size;
    const char* conf;
    std::string mac;
  } cases[] = {{true, 18, kRecorded, "00:11:22:33:44:AA"},
               {true, 18, "", hardware},
               {false, 9, kRecorded, hardware.substr(0, 8)}};
  for (const auto& c : cases) {
    SetRunning(c.running);
    SetConf(c.conf);
    EXPECT_EQ(TAVOHAGetMac(1, mac, c.size), 0);
    EXPECT_EQ(mac, c.mac);
    EXPECT_EQ(log.Take(), c.running ? "" : "INFO conf: HA is not running");
  }
}

TEST_F(Interfaces, ConfiguredInfoIsReadFromTheKeysOfTheKind) {
  const struct {
    const char* ifname;
    int result;
    BOOL enabled;
    const char *address, *line;
  } cases[] = {
      {"ovs_eth0", 0, 1, "10.0.0.1", ""},
      {"bond0", 0, 0, "10.0.0.2", ""},
      {"lo", -1, -1, "?", "ERROR conf: Failed to parse interface lo"},
      {"eth1", -1, -1, "10.0.0.3", "ERROR conf: Failed to get if enabled from conf. [eth1] 1."},
      {"eth2", -1, -1, "10.0.0.4", "ERROR conf: Failed to get netmask from conf. [eth2] 2."},
      {"eth3", -1, -1, "", "ERROR conf: Failed to get ip from conf. [eth3] 3."},
      {nullptr, -1, -1, "?", "ERROR conf: Invalid argument"}};
  SetConf(std::string(kEth0) +
          "ha_bond_ip0=\"10.0.0.2\"\nha_bond_netmask0=\"255.0.0.0\"\nha_bond_if_enabled0=\"TRUE\"\n"
          "ha_ip1=\"10.0.0.3\"\nha_netmask1=\"255.0.0.0\"\nha_ip2=\"10.0.0.4\"\n");
  char address[16], netmask[16], main[8];
  BOOL enabled;
  for (const auto& [ifname, result, expected_enabled, expected_address, line] : cases) {
    address[0] = '?', address[1] = '\0', enabled = -1;
    EXPECT_EQ(TAVOHAGetIFConfInfo(ifname, address, 16, netmask, 16, &enabled), result);
    EXPECT_STREQ(address, expected_address);
    EXPECT_EQ(enabled, expected_enabled);
    EXPECT_STREQ(netmask, result == 0 ? "255.0.0.0" : netmask);
    EXPECT_EQ(log.Take(), line);
  }
  EXPECT_EQ(TAVOHAGetIFMain(main, sizeof main), 0);
  EXPECT_STREQ(main, "eth0");
  EXPECT_EQ(TAVOHAGetIFMain(main, 0), -1);
  EXPECT_EQ(log.Take(), "ERROR conf: Invalid argument");
  SetRunning(false);
  EXPECT_EQ(TAVOHAGetIFConfInfo("eth0", address, 16, netmask, 16, &enabled), -1);
  EXPECT_EQ(TAVOHAGetIFMain(main, sizeof main), -1);
  EXPECT_EQ(log.Take(), "");
}

TEST_F(Interfaces, AddressIsRecordedOnlyWhenEnabledAndRestartedInAnyCase) {
  ScriptedTool agent("/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2");
  ScriptedTool resource_tool("/usr/bin/crm_resource"), query_tool("/usr/bin/cibadmin");
  resource_tool.Answer({{}});
  const auto set = [&](const char* ifname, const char* address, BOOL enable, int agent_status) {
    query_tool.Answer({{}, {.exit_status = 6}});  // unmanaged, then managed again
    agent.Answer({{.exit_status = agent_status}});
    return TAVOHASetIFConfInfo(ifname, address, "255.0.0.0", enable);
  };
  const std::string old = "ha_bond_if1=\"old\"\nha_bond_ip1=\"old\"\nha_bond_netmask1=\"old\"\n";
  for (const BOOL enable : {1, 2}) {
    SetConf(old);
    EXPECT_EQ(set("bond1", "10.0.0.9", enable, 0), 0);
    EXPECT_EQ(ReadFile(kConfFile),
              enable == 1 ? "ha_bond_if1=\"bond1\"\nha_bond_ip1=\"10.0.0.9\"\n"
                            "ha_bond_netmask1=\"255.0.0.0\"\nha_bond_if_enabled1=\"true\"\n"
                          : old + "ha_bond_if_enabled1=\"false\"\n");
    EXPECT_THAT(TakeCommandLines(), Contains(EndsWith("IPaddr2 start")));
  }
  EXPECT_THAT(log.Take(), Not(HasSubstr("ERROR")));
  EXPECT_EQ(set("eth3", "two\nlines", 1, 0), 0) << "what cannot be written does not count";
  EXPECT_THAT(ReadFile(kConfFile), EndsWith("ha_if3=\"eth3\"\nha_netmask3=\"255.0.0.0\"\n"
                                            "ha_if_enabled3=\"true\"\n"));
  EXPECT_THAT(log.Take(), HasSubstr("ERROR conf: Failed to set config:26. idx:3.; "));
  EXPECT_EQ(set("eth3", "10.0.0.9", 1, 1), -1);
  EXPECT_THAT(log.Take(), EndsWith("; ERROR conf: Failed to restart ip."));

  TakeCommandLines();
  EXPECT_EQ(set("lo", "10.0.0.9", 1, 0), -1);
  EXPECT_EQ(set("eth0", nullptr, 0, 0), -1);
  SetRunning(false);
  EXPECT_EQ(set("eth0", "10.0.0.9", 1, 0), -1);
  EXPECT_EQ(log.Take(),
            "ERROR conf: Failed to parse interface lo; ERROR conf: Invalid argument; "
            "ERROR conf: ha not runnign");
  EXPECT_TRUE(TakeCommandLines().empty());
}

}  // namespace
