#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tavohacore/conf.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "platform/tavlib.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace {

using test_support::Exists;
using test_support::LogCapture;
using test_support::Logged;
using test_support::ReadFile;
using test_support::WriteFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kConf[] = "/usr/tavo/tavoha/etc/ha.conf";
constexpr char kDefaults[] = "/usr/tavo/tavoha/etc.defaults/ha.conf";
constexpr char kMirror[] = "/tmp/.ha.conf";

HA_CONF_TYPE Type(int value) { return static_cast<HA_CONF_TYPE>(value); }

// Returns the value, or "-" when it cannot be had.
std::string Get(int type, int index = 0) {
  char value[1024] = "untouched";
  return TAVOHAGetConf(Type(type), index, value, sizeof value) == 0 ? value : "-";
}

TEST(Conf, EveryTypeHasItsKey) {
  const char* const keys[] = {
      "drbd_if",
      "drbd_if_origin",
      "drbd_ip0",
      "drbd_ip1",
      "drbd_netmask",
      "drbd_bond_mode_origin",
      "drbd_mtu_origin",
      "host0",
      "host1",
      "ip0",
      "ip1",
      "corosync_key",
      "ha_sn",
      "ha_sn_custom",
      "ha_model",
      "ha_unique",
      "ha_hostname",
      "ha_if_main",
      "ha_gateway",
      "begin_time",
      "is_hybrid",
      "model_group",
      "model0",
      "model1",
      "lan_num",
      "ha_if",
      "ha_ip",
      "ha_netmask",
      "ha_if_enabled",
      "ha_bond_if",
      "ha_bond_ip",
      "ha_bond_netmask",
      "ha_bond_if_enabled",
      "ha_mac_",
      "mac0_",
      "mac1_",
  };
  for (int type = 0; type < 36; ++type) {
    for (const int index : {0, 3, 11, type < 25 ? 12 : 0, type < 25 ? -1 : 0}) {
      WriteFile(kConf, "");
      unlink(kMirror);
      ASSERT_EQ(TAVOHASetConf(Type(type), index, "v"), 0);
      const std::string key = keys[type] + (type < 25 ? "" : std::to_string(index));
      EXPECT_EQ(ReadFile(kConf), key + "=\"v\"\n");
      EXPECT_EQ(Exists(kMirror), type != HA_CONF_COROSYNC_KEY) << "a secret in /tmp";
    }
  }
}

TEST(Conf, VirtualTypesFollowTheHostDirection) {
  const std::string pairs[] = {"drbd_ip0", "drbd_ip1", "host0",  "host1",
                               "ip0",      "ip1",      "mac0_4", "mac1_4"};
  struct Case {
    const char* host0;
    int direction;
  };
  for (const Case& c : {Case{"nas-a", 0}, Case{"nas-b", 1}, Case{"", 1}, Case{"NAS-A", 1}}) {
    unlink(kMirror);
    std::string text = std::string("host0=\"") + c.host0 + "\"\n";
    for (const std::string& key : pairs) {
      if (key != "host0") text += key + "=\"value of " + key + "\"\n";
    }
    WriteFile(kConf, text);
    EXPECT_EQ(TAVOHAGetHostDirection(), c.direction);
    for (int type = 36; type < 44; ++type) {
      const std::string& key =
          pairs[static_cast<size_t>((type - 36) / 2 * 2 + ((type - 36) % 2 ^ c.direction))];
      EXPECT_EQ(Get(type, 4), key == "host0" ? c.host0 : "value of " + key) << type;
    }
  }
  EXPECT_EQ(TAVOHANodeTypeToConfType(NODE_TYPE_LOCAL), HA_CONF_HOST_LOCAL);
  EXPECT_EQ(TAVOHANodeTypeToConfType(NODE_TYPE_REMOTE), HA_CONF_HOST_REMOTE);
  EXPECT_EQ(TAVOHANodeTypeToConfType(NODE_TYPE_HOST0), HA_CONF_HOST0);
  EXPECT_EQ(TAVOHANodeTypeToConfType(NODE_TYPE_HOST1), HA_CONF_HOST1);
  for (const int other : {0, 5, -1, INT_MAX}) {
    EXPECT_EQ(TAVOHANodeTypeToConfType(static_cast<_tag_NODE_TYPE_>(other)), HA_CONF_TYPE_INVALID);
  }
}

TEST(Conf, AnUnknownHostDirectionFailsOnlyVirtualTypes) {
  LogCapture log;
  WriteFile(kConf, "ip0=\"10.0.0.1\"\n");
  EXPECT_EQ(Get(HA_CONF_IP_REMOTE), "-");
  EXPECT_THAT(
      log.Take(),
      ElementsAre(Logged("ERROR", "conf", "Failed to get conf host0"),
                  Logged("ERROR", "conf", "Failed to get host direction"),
                  Logged("ERROR", "conf", "Failed to map virtual conf type 41 to real conf type"),
                  Logged("ERROR", "conf", "Failed to map conf type 41 to real conf type")));
  EXPECT_EQ(Get(HA_CONF_IP0), "10.0.0.1");

  WriteFile(kConf, "host0=\"nas-a\"\n");
  ASSERT_EQ(sethostname("", 0), 0);
  EXPECT_EQ(TAVOHAGetHostDirection(), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "util", HasSubstr("Failed to get hostname.")),
                                      Logged("ERROR", "conf", "Failed to get host name")));
}

TEST(Conf, BadInputIsLoggedAndChangesNothing) {
  LogCapture log;
  WriteFile(kConf, "host0=\"nas-a\"\n");
  const auto refused = [&](int result, const std::vector<std::string>& bodies) {
    EXPECT_EQ(result, -1);
    std::vector<testing::Matcher<const test_support::LogLine&>> lines;
    lines.reserve(bodies.size());
    for (const std::string& body : bodies) lines.push_back(Logged("ERROR", "conf", body));
    EXPECT_THAT(log.Take(), testing::ElementsAreArray(lines));
  };
  const std::string invalid = "Invalid argument";
  char value[8] = "before";
  refused(TAVOHAGetConf(HA_CONF_HOST0, 0, nullptr, 8), {invalid});
  refused(TAVOHAGetConf(HA_CONF_HOST0, 0, value, 0), {invalid});
  refused(TAVOHAGetConf(HA_CONF_HOST0, 0, value, -1), {invalid});
  refused(TAVOHASetConf(HA_CONF_HOST0, 0, nullptr), {invalid});
  for (const int type : {44, 45, -1, INT_MIN}) {
    const std::string unmapped =
        "Failed to map conf type " + std::to_string(type) + " to real conf type";
    refused(TAVOHAGetConf(Type(type), 0, value, 8), {invalid, unmapped});
    refused(TAVOHASetConf(Type(type), 0, "x"), {invalid, unmapped});
  }
  for (const int index : {12, -1}) {
    const std::string no_key =
        "Failed to get the key of conf type 34, idx " + std::to_string(index);
    refused(TAVOHAGetConf(HA_CONF_MAC_LOCAL, index, value, 8), {invalid, no_key});
    refused(TAVOHASetConf(HA_CONF_MAC0, index, "x"), {invalid, no_key});
  }
  refused(TAVOHASetConf(HA_CONF_HOST1, 0, "two\nlines"), {"Failed to set key: host1"});
  refused(TAVOHAGetConfByIF(0, "eth0", nullptr, 8), {invalid});
  refused(TAVOHAGetConfByIF(0, "eth0", value, 0), {invalid});
  refused(TAVOHAGetConfByIF(0, nullptr, value, 8), {invalid});
  refused(TAVOHAGetConfByIF(4, "no interface", value, 8), {invalid});
  refused(TAVOHAGetConfByIF(-1, "eth0", value, 8), {invalid});
  refused(TAVOHAGetConfByIF(0, "lo", value, 8), {});
  EXPECT_EQ(TAVLIBErrGet(), 0xD900);
  refused(TAVOHAGetConfByIF(0, "eth12", value, 8),
          {invalid, "Failed to get the key of conf type 25, idx 12"});
  EXPECT_STREQ(value, "before");
  EXPECT_EQ(ReadFile(kConf), "host0=\"nas-a\"\n");
  EXPECT_THAT(test_support::ListDirectory("/usr/tavo/tavoha/etc"), ElementsAre("ha.conf"));
}

TEST(Conf, ReadsFillTheMirrorAndThenPreferIt) {
  WriteFile(kConf, "host0=\"a\"\nip0=\"1\"\ncorosync_key=\"secret\"\n");
  EXPECT_EQ(Get(HA_CONF_COROSYNC_KEY), "secret");
  EXPECT_FALSE(Exists(kMirror));
  EXPECT_EQ(Get(HA_CONF_HOST0), "a");
  EXPECT_EQ(ReadFile(kMirror), "host0=\"a\"\n");
  WriteFile(kConf, "host0=\"b\"\nip0=\"2\"\ncorosync_key=\"new\"\n");
  WriteFile(kMirror, ReadFile(kMirror) + "corosync_key=\"planted\"\n");
  EXPECT_EQ(Get(HA_CONF_HOST0), "a");
  EXPECT_EQ(Get(HA_CONF_IP0), "2") << "a key that the mirror lacks";
  EXPECT_EQ(Get(HA_CONF_COROSYNC_KEY), "new");
  EXPECT_EQ(TAVOHASetConf(HA_CONF_HOST0, 0, "c"), 0);
  EXPECT_EQ(ReadFile(kMirror), "host0=\"c\"\ncorosync_key=\"planted\"\nip0=\"2\"\n");
  EXPECT_EQ(ReadFile(kConf), "host0=\"c\"\nip0=\"2\"\ncorosync_key=\"new\"\n");
}

TEST(Conf, AFailedMirrorWriteFailsOnlyTheWrite) {
  LogCapture log;
  WriteFile(kConf, "host0=\"a\"\n");
  ASSERT_EQ(system("mkdir -p /tmp/.ha.conf/in-the-way"), 0);
  EXPECT_EQ(Get(HA_CONF_HOST0), "a");
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to set key")));
  EXPECT_EQ(TAVOHASetConf(HA_CONF_HOST0, 0, "b"), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to set key: host0")));
  EXPECT_EQ(ReadFile(kConf), "host0=\"b\"\n");
}

TEST(Conf, MissingAndDamagedFilesHaveNoValue) {
  LogCapture log;
  unlink(kConf);
  EXPECT_EQ(Get(HA_CONF_HOST0), "-");
  const std::string noise(1 << 20, '\xff');
  for (const std::string& text : {std::string(), noise, "host0" + noise, std::string(5000, '\0'),
                                  std::string("host0\n=\"x\"\n#host0=\"y\"\nhost0 \"z\"\n")}) {
    WriteFile(kConf, text);
    EXPECT_EQ(Get(HA_CONF_HOST0), "-");
  }
  EXPECT_THAT(log.Take(), IsEmpty());
  EXPECT_FALSE(Exists(kMirror));
}

TEST(Conf, LongValuesAreCutOrRefusedAsTheBufferSays) {
  LogCapture log;
  const std::string fits(1023, 'v');
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_UNIQUE, 0, fits.c_str()), 0);
  EXPECT_EQ(Get(HA_CONF_HA_UNIQUE), fits);
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_UNIQUE, 0, (fits + "v").c_str()), 0);
  EXPECT_EQ(Get(HA_CONF_HA_UNIQUE), "-");
  EXPECT_THAT(log.Take(), testing::Each(Logged("ERROR", "conf", "No buffer space available")));

  ASSERT_EQ(TAVOHASetConf(HA_CONF_HOST1, 0, "sixsix"), 0);
  char small[6] = "?????";
  EXPECT_EQ(TAVOHAGetConf(HA_CONF_HOST1, 0, small, 5), 0);
  EXPECT_STREQ(small, "sixs");
}

TEST(Conf, ThirtyOneBytesOfACustomSerialNumberAreARecordNotAText) {
  const std::string serial = "0123456789012345678901234567890";
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_SN_CUSTOM, 0, serial.c_str()), 0);
  char buffer[33];
  memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(TAVOHAGetConf(HA_CONF_HA_SN_CUSTOM, 0, buffer, 31), 0);
  EXPECT_EQ(std::string(buffer, 33), serial + "##");
  EXPECT_EQ(TAVOHAGetConf(HA_CONF_HA_SN_CUSTOM, 0, buffer, 32), 0);
  EXPECT_STREQ(buffer, serial.c_str());
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_SN_CUSTOM, 0, "short"), 0);
  EXPECT_EQ(TAVOHAGetConf(HA_CONF_HA_SN_CUSTOM, 0, buffer, 31), 0);
  EXPECT_EQ(std::string(buffer, 31), "short" + std::string(26, '\0'));
}

TEST(Conf, InterfacesSelectTheirFamilysKeys) {
  const struct {
    int attribute;
    const char* ifname;
    const char* key;
  } cases[] = {
      {0, "eth3", "ha_if3"},
      {1, "eth0", "ha_ip0"},
      {2, "ovs_eth11", "ha_netmask11"},
      {3, "ovs_eth0", "ha_if_enabled0"},
      {0, "bond2", "ha_bond_if2"},
      {1, "bond1", "ha_bond_ip1"},
      {2, "ovs_bond0", "ha_bond_netmask0"},
      {3, "ovs_bond4", "ha_bond_if_enabled4"},
  };
  for (const auto& c : cases) {
    unlink(kMirror);
    WriteFile(kConf, std::string(c.key) + "=\"found\"\n");
    char value[16] = "";
    EXPECT_EQ(TAVOHAGetConfByIF(c.attribute, c.ifname, value, sizeof value), 0) << c.key;
    EXPECT_STREQ(value, "found");
  }
}

TEST(Conf, ResetCopiesTheDefaultsOrEmptiesEveryValue) {
  LogCapture log;
  WriteFile(kConf, "# mine\nhost0=\"a\"\nown_key=\"b\"\n");
  WriteFile(kMirror, "host0=\"a\"\n");
  EXPECT_EQ(TAVOHAResetConf(), 0);
  EXPECT_EQ(ReadFile(kConf), "# mine\nhost0=\"\"\nown_key=\"\"\n");
  WriteFile(kDefaults, "host0=\"factory\"\n");
  EXPECT_EQ(TAVOHAResetConf(), 0);
  EXPECT_EQ(ReadFile(kConf), "host0=\"factory\"\n");
  EXPECT_EQ(ReadFile(kMirror), "host0=\"a\"\n");
  EXPECT_THAT(log.Take(), IsEmpty());

  ASSERT_EQ(system("rm -rf /usr/tavo/tavoha/etc"), 0);
  EXPECT_EQ(TAVOHAResetConf(), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to copy ha.conf.")));
  unlink(kDefaults);
  EXPECT_EQ(TAVOHAResetConf(), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to get pair.")));
}

TEST(Conf, ForgettingThePeerEmptiesItsKeysOnly) {
  std::string macs[2];
  std::string emptied[2];
  for (int i = 0; i < 12; ++i) {
    for (const int host : {0, 1}) {
      const std::string key = "mac" + std::to_string(host) + "_" + std::to_string(i) + "=";
      macs[host] += key + "\"m\"\n";
      emptied[host] += key + "\"\"\n";
    }
  }
  WriteFile(kConf, "is_hybrid=\"true\"\nhost0=\"nas-a\"\nhost1=\"nas-b\"\nip0=\"1\"\nip1=\"2\"\n" +
                       macs[0] + macs[1]);
  EXPECT_EQ(TAVOHACleanConfRemote(), 0);
  EXPECT_EQ(ReadFile(kConf),
            "is_hybrid=\"false\"\nhost0=\"nas-a\"\nhost1=\"\"\nip0=\"1\"\nip1=\"\"\n" + macs[0] +
                emptied[1]);
}

TEST(Conf, ForgettingThePeerStopsAtTheFirstFailure) {
  LogCapture log;
  WriteFile(kConf, "ip0=\"1\"\n");  // no host0: no host direction
  EXPECT_EQ(TAVOHACleanConfRemote(), -1);
  EXPECT_EQ(ReadFile(kConf), "ip0=\"1\"\nis_hybrid=\"false\"\n");
  EXPECT_THAT(log.Take(),
              testing::Contains(Logged("ERROR", "conf", "failed to clean remote host.")));
  ASSERT_EQ(system("rm -rf /usr/tavo"), 0);
  EXPECT_EQ(TAVOHACleanConfRemote(), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to set key: is_hybrid"),
                                      Logged("ERROR", "conf", "failed to clean is_hybrid.")));
}

TEST(Conf, WritersInEightProcessesLoseNothingAndReadersSeeWholeFiles) {
  constexpr int kWriters = 8;
  constexpr int kWrites = 1000;
  WriteFile(kConf, "# first\ncorosync_key=\"whole\"\n");
  std::vector<pid_t> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.push_back(fork());
    if (writers.back() != 0) continue;
    int failures = 0;
    for (int i = 1; i <= kWrites; ++i) {
      failures += TAVOHASetConf(HA_CONF_MAC0, writer, std::to_string(i).c_str()) != 0;
    }
    _exit(failures != 0);
  }
  long looks = 0;
  while (!writers.empty()) {
    ASSERT_EQ(Get(HA_CONF_COROSYNC_KEY), "whole");
    ++looks;
    int status = 0;
    if (waitpid(writers.back(), &status, WNOHANG) == writers.back()) {
      EXPECT_EQ(status, 0);
      writers.pop_back();
    }
  }
  EXPECT_GT(looks, 100);
  for (int writer = 0; writer < kWriters; ++writer) {
    EXPECT_THAT(ReadFile(kConf), HasSubstr("mac0_" + std::to_string(writer) + "=\"1000\"\n"));
    EXPECT_THAT(ReadFile(kMirror), HasSubstr("mac0_" + std::to_string(writer) + "=\"1000\"\n"));
  }
  EXPECT_THAT(test_support::ListDirectory("/usr/tavo/tavoha/etc"), ElementsAre("ha.conf"));
}

}  // namespace
