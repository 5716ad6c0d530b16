// The kernel asked is a real one, in a network of the test's own.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <tavohacore/conf.h>

#include <cstddef>
#include <thread>

#include "platform/tavlib.h"
#include "simcluster/network/interface.h"
#include "tests/support/appliance.h"
#include "tests/support/host_state.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_tool.h"

namespace {

using namespace test_support;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using Lines = std::vector<testing::Matcher<const LogLine&>>;

// What the kernel says by another way than the library's: "ADDRESS NETMASK" or a hardware address.
std::string KernelSays(const std::string& name, int family) {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return "nothing";
  std::string text = "nothing";
  for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (name != entry->ifa_name || entry->ifa_addr == nullptr ||
        entry->ifa_addr->sa_family != family) {
      continue;
    }
    if (family == AF_INET) {
      const auto dotted = [](const sockaddr* address) {
        return std::string(inet_ntoa(reinterpret_cast<const sockaddr_in*>(address)->sin_addr));
      };
      text = dotted(entry->ifa_addr) + " ";
      text += dotted(entry->ifa_netmask);
    } else {
      text.clear();
      for (int i = 0; i < 6; ++i) {
        char byte[4];
        const auto* link = reinterpret_cast<const sockaddr_ll*>(entry->ifa_addr);
        snprintf(byte, sizeof byte, ":%02x", link->sll_addr[i]);
        text += byte + (i == 0 ? 1 : 0);
      }
    }
  }
  freeifaddrs(list);
  return text;
}

// Does `work` in a thread for which `call` fails with `error` when its argument is `value`.
template <typename Work>
void WithFailingCall(unsigned call, unsigned argument, unsigned value, unsigned error, Work work) {
  std::thread([&] {
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS,
                 static_cast<unsigned>(offsetof(seccomp_data, args)) + 8 * argument),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter = {std::size(program), program};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
    work();
  }).join();
}

struct Interfaces : testing::Test {
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
  for (const auto& [name, address, netmask] :
       {std::tuple("eth0", "10.1.2.3", "255.255.254.0"),
        {"ovs_bond1", "192.168.200.254", "255.255.255.252"}}) {
    EXPECT_EQ(simcluster::AddInterface(name), "");
    EXPECT_EQ(simcluster::SetAddress(name, "172.16.0.1", "255.255.0.0"), "");
    EXPECT_EQ(simcluster::SetAddress(std::string(name) + ":HA", address, netmask), "");
  }
  SetConf(std::string(kEth0) + "ha_bond_if1=\"ovs_bond1\"\nha_bond_if_enabled1=\"true\"\n");
  for (const char* name : {"eth0", "ovs_bond1", "", static_cast<const char*>(nullptr)}) {
    const std::string alias =
        (name == nullptr || *name == '\0' ? "eth0" : std::string(name)) + ":HA";
    char address[16], netmask[16];
    EXPECT_EQ(TAVOHAGetRelatedIFInfo(name, address, sizeof address, netmask, sizeof netmask), 0);
    EXPECT_EQ(address + std::string(" ") + netmask, KernelSays(alias, AF_INET));

    memset(address, '?', sizeof address);
    EXPECT_EQ(TAVOHAGetRelatedIFInfo(name, address, 0, netmask, 8), 0);
    EXPECT_EQ(address[0], '?') << "not asked for";
    EXPECT_STREQ(netmask, "255.255") << "cut to its 8 bytes";
  }
  EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(Interfaces, RelatedInfoFailsWithItsLineOrRecord) {
  static constexpr char kModule[] = "ha_get_related_if_info";
  constexpr char kAlias[] = "eth0:HA: Cannot assign requested address";
  const auto error = [](const std::string& body) { return Logged("ERROR", kModule, body); };
  ASSERT_EQ(simcluster::AddInterface("eth0"), "");
  ASSERT_EQ(simcluster::AddInterface("eth2"), "");
  ASSERT_EQ(simcluster::SetAddress("eth2:HA", "10.0.0.1", "255.0.0.0"), "");
  const struct {
    const char* ifname;
    std::string conf;
    int address_size, netmask_size, record;
    Lines lines;
  } cases[] = {
      {"eth0", kEth0, 0, 0, 0x0D00, {}},
      {nullptr, "", 16, 16, -1, {error("Failed to get HA main interface")}},
      {nullptr, "ha_if_main=\"\"\n", 16, 16, 0x0D00, {}},
      {"lo", kEth0, 16, 16, 0xD900, {}},
      {"eth0",
       "ha_if_enabled0=\"true\"\n",
       16,
       16,
       -1,
       {error("Failed to get eth0 enabled in ha.conf")}},
      {"eth0",
       "ha_if0=\"eth00\"\n",
       16,
       16,
       -1,
       {Logged("DEBUG", kModule, "Failed to get eth0 in ha.conf [eth00]")}},
      {"eth0", "ha_if0=\"eth0\"\n", 16, 16, -1, {error("Failed to get eth0 enabled in ha.conf")}},
      {"eth0", "ha_if0=\"eth0\"\nha_if_enabled0=\"True\"\n", 16, 16, -1, {}},
      {"eth0", kEth0, 16, 16, -1, {error(std::string("ioctl addr failed - ") + kAlias)}},
      {"eth0", kEth0, 0, 16, -1, {error(std::string("ioctl mask addr failed - ") + kAlias)}},
      {"ovs_eth1abcdefgh",
       "ha_if1=\"ovs_eth1abcdefgh\"\nha_if_enabled1=\"true\"\n",
       16,
       16,
       -1,
       {error("ioctl addr failed - ovs_eth1abcdefg: No such device")}},
      {"eth2",
       "ha_if2=\"eth2\"\nha_if_enabled2=\"true\"\n",
       1,
       16,
       -1,
       {error("ioctl ip failed - eth2:HA")}},
      {"eth2",
       "ha_if2=\"eth2\"\nha_if_enabled2=\"true\"\n",
       16,
       1,
       -1,
       {error("ioctl mask failed - eth2:HA")}},
  };
  const HostState before = HostState::Now({});
  for (const auto& [ifname, conf, address_size, netmask_size, record, lines] : cases) {
    SCOPED_TRACE(conf);
    SetConf(conf);
    TAVLIBErrSetEx(-1, "none", 0);
    char address[16], netmask[16];
    EXPECT_EQ(TAVOHAGetRelatedIFInfo(ifname, address, address_size, netmask, netmask_size), -1);
    if (record != -1) {
      EXPECT_EQ(TAVLIBErrGet(), record);
    }
    EXPECT_THAT(log.Take(), ElementsAreArray(lines));
  }
  SetConf(kEth0);
  char address[16];
  WithFailingCall(SYS_socket, 0, AF_INET, EMFILE, [&] {
    EXPECT_EQ(TAVOHAGetRelatedIFInfo("eth0", address, sizeof address, nullptr, 0), -1);
  });
  WithFailingCall(SYS_ioctl, 1, SIOCGIFADDR, EIO, [&] {
    EXPECT_EQ(TAVOHAGetRelatedIFInfo("eth0", address, sizeof address, nullptr, 0), -1);
  });
  EXPECT_THAT(log.Take(), ElementsAre(error("Failed to open eth0 for ha."),
                                      error("ioctl addr failed - eth0:HA: Input/output error")));
  SetRunning(false);
  EXPECT_EQ(TAVOHAGetRelatedIFInfo("eth0", address, sizeof address, nullptr, 0), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0xD900);
  EXPECT_THAT(log.Take(), IsEmpty());
  EXPECT_EQ(HostState::Now({}), before);
}

TEST_F(Interfaces, MacIsTheRecordedOneOrTheKernels) {
  ASSERT_EQ(simcluster::AddInterface("ovs_eth1"), "");
  const std::string hardware = KernelSays("ovs_eth1", AF_PACKET);
  const struct {
    bool running;
    unsigned size;
    const char* conf;
    std::string mac;
  } cases[] = {
      {true, 18, "ha_mac_1=\"00:11:22:33:44:AA\"\n", "00:11:22:33:44:AA"},
      {true, 18, "", hardware},
      {false, 18, "ha_mac_1=\"00:11:22:33:44:AA\"\n", hardware},
      {false, 9, "", hardware.substr(0, 8)},
  };
  for (const auto& [running, size, conf, mac] : cases) {
    SetRunning(running);
    SetConf(conf);
    char buffer[18];
    EXPECT_EQ(TAVOHAGetMac(1, buffer, size), 0);
    EXPECT_EQ(buffer, mac);
    const Lines stopped = {Logged("INFO", "conf", "HA is not running")};
    EXPECT_THAT(log.Take(), ElementsAreArray(running ? Lines() : stopped));
  }
}

TEST_F(Interfaces, MacFailsWithItsLine) {
  SetConf("");
  char mac[18];
  const auto no_device = [](const char* why) {
    return Logged("ERROR", "conf", std::string("Failed to get original mac: ovs_eth1. ") + why);
  };
  const HostState before = HostState::Now({});
  EXPECT_EQ(TAVOHAGetMac(1, mac, sizeof mac), -1);
  EXPECT_THAT(log.Take(), ElementsAre(no_device("No such device")));
  WithFailingCall(SYS_ioctl, 1, SIOCGIFHWADDR, EIO,
                  [&] { EXPECT_EQ(TAVOHAGetMac(1, mac, sizeof mac), -1); });
  EXPECT_THAT(log.Take(), ElementsAre(no_device("Input/output error")));
  WithFailingCall(SYS_socket, 0, AF_INET, EMFILE,
                  [&] { EXPECT_EQ(TAVOHAGetMac(1, mac, sizeof mac), -1); });
  EXPECT_THAT(log.Take(), IsEmpty());
  EXPECT_EQ(HostState::Now({}), before);
  EXPECT_EQ(TAVOHAGetMac(1, nullptr, 18), -1);
  EXPECT_EQ(TAVOHAGetMac(1, mac, 0), -1);
  const auto refused = Logged("ERROR", "conf", "Invalid argument");
  EXPECT_THAT(log.Take(), ElementsAre(refused, refused));
}

TEST_F(Interfaces, ConfiguredInfoIsReadFromTheKeysOfTheKind) {
  SetConf(std::string(kEth0) +
          "ha_bond_ip0=\"10.0.0.2\"\nha_bond_netmask0=\"255.0.0.0\"\nha_bond_if_enabled0=\"TRUE\"\n"
          "ha_ip1=\"10.0.0.3\"\nha_netmask1=\"255.0.0.0\"\n"
          "ha_ip2=\"10.0.0.4\"\n");
  const auto error = [](const char* body) { return Logged("ERROR", "conf", body); };
  const struct {
    const char* ifname;
    int result;
    BOOL enabled;
    const char* address;
    Lines lines;
  } cases[] = {
      {"ovs_eth0", 0, 1, "10.0.0.1", {}},
      {"bond0", 0, 0, "10.0.0.2", {}},
      {"lo", -1, -1, "?", {error("Failed to parse interface lo")}},
      {"eth1", -1, -1, "10.0.0.3", {error("Failed to get if enabled from conf. [eth1] 1.")}},
      {"eth2", -1, -1, "10.0.0.4", {error("Failed to get netmask from conf. [eth2] 2.")}},
      {"eth3", -1, -1, "", {error("Failed to get ip from conf. [eth3] 3.")}},
      {nullptr, -1, -1, "?", {error("Invalid argument")}},
  };
  for (const auto& [ifname, result, expected_enabled, expected_address, lines] : cases) {
    char address[16] = "?", netmask[16] = "?";
    BOOL enabled = -1;
    EXPECT_EQ(TAVOHAGetIFConfInfo(ifname, address, 16, netmask, 16, &enabled), result);
    EXPECT_STREQ(address, expected_address);
    EXPECT_EQ(enabled, expected_enabled);
    EXPECT_STREQ(netmask, result == 0 ? "255.0.0.0" : netmask);
    EXPECT_THAT(log.Take(), ElementsAreArray(lines));
  }
  char main[8];
  EXPECT_EQ(TAVOHAGetIFMain(main, sizeof main), 0);
  EXPECT_STREQ(main, "eth0");
  EXPECT_EQ(TAVOHAGetIFMain(main, 0), -1);
  EXPECT_THAT(log.Take(), ElementsAre(error("Invalid argument")));

  SetRunning(false);
  char address[16], netmask[16];
  BOOL enabled;
  EXPECT_EQ(TAVOHAGetIFConfInfo("eth0", address, 16, netmask, 16, &enabled), -1);
  EXPECT_EQ(TAVOHAGetIFMain(main, sizeof main), -1);
  EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(Interfaces, AddressIsRecordedOnlyWhenEnabledAndRestartedInAnyCase) {
  ScriptedTool agent("/usr/tavo/tavoha/lib/ocf/resource.d/tavoware/IPaddr2");
  ScriptedTool resource_tool("/usr/bin/crm_resource"), query_tool("/usr/bin/cibadmin");
  resource_tool.Answer({{}});
  const std::string old = "ha_bond_if1=\"old\"\nha_bond_ip1=\"old\"\nha_bond_netmask1=\"old\"\n";
  const std::string set =
      "ha_bond_if1=\"bond1\"\nha_bond_ip1=\"10.0.0.9\"\nha_bond_netmask1=\"255.0.0.0\"\n";
  for (const BOOL enable : {1, 0, 2, -1}) {
    for (const bool restarts : {true, false}) {
      SetConf(old);
      query_tool.Answer({{}, {.exit_status = 6}});  // unmanaged, then managed again
      agent.Answer({{.exit_status = restarts ? 0 : 1}});
      EXPECT_EQ(TAVOHASetIFConfInfo("bond1", "10.0.0.9", "255.0.0.0", enable), restarts ? 0 : -1);
      EXPECT_EQ(ReadFile(kConfFile), enable == 1 ? set + "ha_bond_if_enabled1=\"true\"\n"
                                                 : old + "ha_bond_if_enabled1=\"false\"\n");
      EXPECT_THAT(TakeCommandLines(), testing::Contains(testing::EndsWith("IPaddr2 stop")));
      const auto failed = testing::Contains(Logged("ERROR", "conf", "Failed to restart ip."));
      EXPECT_THAT(log.Take(), testing::Conditional(restarts, Not(failed), failed));
    }
  }

  query_tool.Answer({{}, {.exit_status = 6}});
  agent.Answer({{}});
  EXPECT_EQ(TAVOHASetIFConfInfo("eth3", "two\nlines", "255.0.0.0", 1), 0);
  EXPECT_THAT(ReadFile(kConfFile), testing::HasSubstr("ha_netmask3=\"255.0.0.0\"\nha_if_enabled3"));
  EXPECT_THAT(log.Take(),
              testing::Contains(Logged("ERROR", "conf", "Failed to set config:26. idx:3.")));
  TakeCommandLines();

  EXPECT_EQ(TAVOHASetIFConfInfo("lo", "10.0.0.9", "255.0.0.0", 1), -1);
  EXPECT_EQ(TAVOHASetIFConfInfo("eth0", nullptr, "255.0.0.0", 0), -1);
  SetRunning(false);
  EXPECT_EQ(TAVOHASetIFConfInfo("eth0", "10.0.0.9", "255.0.0.0", 1), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to parse interface lo"),
                                      Logged("ERROR", "conf", "Invalid argument"),
                                      Logged("ERROR", "conf", "ha not runnign")));
  EXPECT_THAT(TakeCommandLines(), IsEmpty());
}

}  // namespace
