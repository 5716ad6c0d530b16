#include <tavohacore/conf.h>

#include <climits>

#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr char kDefaults[] = "/usr/tavo/tavoha/etc.defaults/ha.conf";

HA_CONF_TYPE Type(int value) { return static_cast<HA_CONF_TYPE>(value); }

// Returns the value, or "-" when it cannot be had.
std::string Get(int type, int index = 0) {
  char value[1024] = "untouched";
  return TAVOHAGetConf(Type(type), index, value, sizeof value) == 0 ? value : "-";
}

TEST(Conf, VirtualTypesFollowTheHostDirection) {
  const std::string pairs[] = {"drbd_ip0", "drbd_ip1", "host0",  "host1",
                               "ip0",      "ip1",      "mac0_4", "mac1_4"};
  for (const auto& [host0, direction] :
       {std::pair("nas-a", 0), {"nas-b", 1}, {"", 1}, {"NAS-A", 1}}) {
    std::string text = std::string("host0=\"") + host0 + "\"\n";
    for (const std::string& key : pairs) {
      if (key != "host0") text += key + "=\"value of " + key + "\"\n";
    }
    SetConf(text);
    EXPECT_EQ(TAVOHAGetHostDirection(), direction);
    for (int type = 36; type < 44; ++type) {
      const std::string& key =
          pairs[static_cast<size_t>((type - 36) / 2 * 2 + ((type - 36) % 2 ^ direction))];
      EXPECT_EQ(Get(type, 4), key == "host0" ? host0 : "value of " + key) << type;
    }
  }
  const int types[] = {HA_CONF_TYPE_INVALID, HA_CONF_HOST_LOCAL, HA_CONF_HOST_REMOTE,
                       HA_CONF_HOST0,        HA_CONF_HOST1,      HA_CONF_TYPE_INVALID};
  for (int node = -1; node < 7; ++node) {
    EXPECT_EQ(TAVOHANodeTypeToConfType(static_cast<_tag_NODE_TYPE_>(node)),
              node < 0 || node > 5 ? HA_CONF_TYPE_INVALID : types[node]);
  }

  LogCapture log;  // an unknown direction fails only virtual types
  SetConf("ip0=\"10.0.0.1\"\n");
  EXPECT_EQ(Get(HA_CONF_IP_REMOTE), "-");
  EXPECT_EQ(log.Take(),
            "ERROR conf: Failed to get conf host0; ERROR conf: Failed to get host direction; "
            "ERROR conf: Failed to map virtual conf type 41 to real conf type; "
            "ERROR conf: Failed to map conf type 41 to real conf type");
  EXPECT_EQ(Get(HA_CONF_IP0), "10.0.0.1");
  SetConf("host0=\"nas-a\"\n");
  ASSERT_EQ(sethostname("", 0), 0);
  EXPECT_EQ(TAVOHAGetHostDirection(), -1);
  EXPECT_THAT(log.Take(), AllOf(StartsWith("ERROR util: Failed to get hostname."),
                                EndsWith("; ERROR conf: Failed to get host name")));
}

TEST(Conf, BadInputIsLoggedAndChangesNothing) {
  LogCapture log;
  WriteFile(kConfFile, "host0=\"nas-a\"\n");
  const auto refused = [&](int result, const std::string& lines) {
    EXPECT_EQ(result, -1);
    EXPECT_EQ(log.Take(), lines);
  };
  const std::string invalid = "ERROR conf: Invalid argument";
  char value[8] = "before";
  refused(TAVOHAGetConf(HA_CONF_HOST0, 0, nullptr, 8), invalid);
  for (const int size : {0, -1}) refused(TAVOHAGetConf(HA_CONF_HOST0, 0, value, size), invalid);
  refused(TAVOHASetConf(HA_CONF_HOST0, 0, nullptr), invalid);
  for (const int type : {44, -1, INT_MIN}) {
    const std::string unmapped = invalid + "; ERROR conf: Failed to map conf type " +
                                 std::to_string(type) + " to real conf type";
    refused(TAVOHAGetConf(Type(type), 0, value, 8), unmapped);
    refused(TAVOHASetConf(Type(type), 0, "x"), unmapped);
  }
  for (const int index : {12, -1}) {
    const std::string no_key = invalid +
                               "; ERROR conf: Failed to get the key of conf type 34, idx " +
                               std::to_string(index);
    refused(TAVOHAGetConf(HA_CONF_MAC_LOCAL, index, value, 8), no_key);
    refused(TAVOHASetConf(HA_CONF_MAC0, index, "x"), no_key);
  }
  const struct {
    int attribute;
    const char* ifname;
    char* value;
    int size;
  } cases[] = {{0, "eth0", nullptr, 8},
               {0, "eth0", value, 0},
               {0, nullptr, value, 8},
               {-1, "eth0", value, 8},
               {4, "no interface", value, 8}};
  for (const auto& c : cases) {
    refused(TAVOHAGetConfByIF(c.attribute, c.ifname, c.value, c.size), invalid);
  }
  refused(TAVOHAGetConfByIF(0, "lo", value, 8), "");
  EXPECT_EQ(TAVLIBErrGet(), 0xD900);
  refused(TAVOHAGetConfByIF(0, "eth12", value, 8),
          invalid + "; ERROR conf: Failed to get the key of conf type 25, idx 12");
  const std::string noise(1 << 20, '\xff');
  for (const std::string& text : {std::string(), noise, "ip0" + noise, std::string(5000, '\0')}) {
    WriteFile(kConfFile, "host0=\"nas-a\"\n" + text);
    refused(TAVOHAGetConf(HA_CONF_IP0, 0, value, 8), "");
  }
  EXPECT_STREQ(value, "before");
  WriteFile(kConfFile, "host0=\"nas-a\"\n");
  refused(TAVOHASetConf(HA_CONF_HOST1, 0, "two\nlines"), "ERROR conf: Failed to set key: host1");
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"nas-a\"\n");
  EXPECT_THAT(ListDirectory("/usr/tavo/tavoha/etc"), ElementsAre("ha.conf"));
}

TEST(Conf, ReadsFillTheMirrorAndThenPreferIt) {
  LogCapture log;
  SetConf("host0=\"a\"\nip0=\"1\"\ncorosync_key=\"secret\"\n");
  EXPECT_EQ(Get(HA_CONF_COROSYNC_KEY), "secret");
  EXPECT_EQ(TAVOHASetConf(HA_CONF_COROSYNC_KEY, 0, "secret"), 0);
  EXPECT_FALSE(Exists(kMirrorFile)) << "a secret in /tmp";
  EXPECT_EQ(Get(HA_CONF_HOST0), "a");
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"a\"\n");
  WriteFile(kConfFile, "host0=\"b\"\nip0=\"2\"\ncorosync_key=\"new\"\n");
  WriteFile(kMirrorFile, ReadFile(kMirrorFile) + "corosync_key=\"planted\"\n");
  EXPECT_EQ(Get(HA_CONF_HOST0), "a");
  EXPECT_EQ(Get(HA_CONF_IP0), "2") << "a key that the mirror lacks";
  EXPECT_EQ(Get(HA_CONF_COROSYNC_KEY), "new");
  EXPECT_EQ(TAVOHASetConf(HA_CONF_HOST0, 0, "c"), 0);
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"c\"\ncorosync_key=\"planted\"\nip0=\"2\"\n");
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"c\"\nip0=\"2\"\ncorosync_key=\"new\"\n");

  // A mirror that cannot be written fails only the write.
  unlink(kMirrorFile);
  std::filesystem::create_directories(kMirrorFile + std::string("/in-the-way"));
  EXPECT_EQ(Get(HA_CONF_HOST0), "c");
  EXPECT_EQ(log.Take(), "ERROR conf: Failed to set key");
  EXPECT_EQ(TAVOHASetConf(HA_CONF_HOST0, 0, "d"), -1);
  EXPECT_EQ(log.Take(), "ERROR conf: Failed to set key: host0");
  EXPECT_THAT(ReadFile(kConfFile), StartsWith("host0=\"d\"\n"));
}

TEST(Conf, LongValuesAreCutRefusedOrARecordAsTheBufferSays) {
  LogCapture log;
  const std::string fits(1023, 'v'), serial = "0123456789012345678901234567890";
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_UNIQUE, 0, fits.c_str()), 0);
  EXPECT_EQ(Get(HA_CONF_HA_UNIQUE), fits);
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_UNIQUE, 0, (fits + "v").c_str()), 0);
  EXPECT_EQ(Get(HA_CONF_HA_UNIQUE), "-");
  EXPECT_THAT(log.Take(), StartsWith("ERROR conf: No buffer space available"));

  const struct {
    HA_CONF_TYPE type;
    std::string value;
    int size;
    std::string bytes;  // of the buffer, which was full of "#"
  } cases[] = {{HA_CONF_HOST1, "sixsix", 5, std::string("sixs\0#", 6)},
               {HA_CONF_HA_SN_CUSTOM, serial, 31, serial + "##"},
               {HA_CONF_HA_SN_CUSTOM, serial, 32, serial + std::string("\0#", 2)},
               {HA_CONF_HA_SN_CUSTOM, "short", 31, "short" + std::string(26, '\0') + "#"}};
  for (const auto& [type, value, size, bytes] : cases) {
    ASSERT_EQ(TAVOHASetConf(type, 0, value.c_str()), 0);
    std::string buffer(33, '#');
    EXPECT_EQ(TAVOHAGetConf(type, 0, buffer.data(), size), 0);
    EXPECT_EQ(buffer.substr(0, bytes.size()), bytes);
  }
}

TEST(Conf, ResetCopiesTheDefaultsOrEmptiesEveryValue) {
  LogCapture log;
  WriteFile(kConfFile, "# mine\nhost0=\"a\"\nown_key=\"b\"\n");
  WriteFile(kMirrorFile, "host0=\"a\"\n");
  EXPECT_EQ(TAVOHAResetConf(), 0);
  EXPECT_EQ(ReadFile(kConfFile), "# mine\nhost0=\"\"\nown_key=\"\"\n");
  WriteFile(kDefaults, "host0=\"factory\"\n");
  EXPECT_EQ(TAVOHAResetConf(), 0);
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"factory\"\n");
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"a\"\n");
  EXPECT_EQ(log.Take(), "");

  std::filesystem::remove_all("/usr/tavo/tavoha/etc");
  EXPECT_EQ(TAVOHAResetConf(), -1);
  EXPECT_EQ(log.Take(), "ERROR conf: Failed to copy ha.conf.");
  unlink(kDefaults);
  EXPECT_EQ(TAVOHAResetConf(), -1);
  EXPECT_EQ(log.Take(), "ERROR conf: Failed to get pair.");
}

TEST(Conf, ForgettingThePeerEmptiesItsKeysOnlyAndStopsAtTheFirstFailure) {
  LogCapture log;
  std::string mac0, mac1, emptied;
  for (int i = 0; i < 12; ++i) {
    const std::string key = "_" + std::to_string(i) + "=";
    mac0 += "mac0" + key + "\"m\"\n";
    mac1 += "mac1" + key + "\"m\"\n";
    emptied += "mac1" + key + "\"\"\n";
  }
  SetConf("is_hybrid=\"true\"\nhost0=\"nas-a\"\nhost1=\"nas-b\"\nip0=\"1\"\nip1=\"2\"\n" + mac0 +
          mac1);
  EXPECT_EQ(TAVOHACleanConfRemote(), 0);
  EXPECT_EQ(
      ReadFile(kConfFile),
      "is_hybrid=\"false\"\nhost0=\"nas-a\"\nhost1=\"\"\nip0=\"1\"\nip1=\"\"\n" + mac0 + emptied);
  EXPECT_EQ(log.Take(), "");

  SetConf("ip0=\"1\"\n");  // no host0: no host direction
  EXPECT_EQ(TAVOHACleanConfRemote(), -1);
  EXPECT_EQ(ReadFile(kConfFile), "ip0=\"1\"\nis_hybrid=\"false\"\n");
  EXPECT_THAT(log.Take(), EndsWith("; ERROR conf: failed to clean remote host."));
  std::filesystem::remove_all("/usr/tavo");
  EXPECT_EQ(TAVOHACleanConfRemote(), -1);
  EXPECT_EQ(log.Take(),
            "ERROR conf: Failed to set key: is_hybrid; ERROR conf: failed to clean is_hybrid.");
}

TEST(Conf, WritersInEightProcessesLoseNothingAndReadersSeeWholeFiles) {
  constexpr int kWriters = 8, kWrites = 1000;
  const auto with = [](const std::string& value) {
    std::string lines = "# first\ncorosync_key=\"whole\"\n";
    for (int i = 0; i < kWriters; ++i) lines += "mac0_" + std::to_string(i) + "=" + value + "\n";
    return lines;
  };
  SetConf(with("\"0\""));
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
  for (const std::string whole = with("\"[0-9]+\""); !writers.empty(); ++looks) {
    ASSERT_EQ(Get(HA_CONF_COROSYNC_KEY), "whole");
    ASSERT_THAT(ReadFile(kConfFile), MatchesRegex(whole));
    int status = 0;
    if (waitpid(writers.back(), &status, WNOHANG) == writers.back()) {
      EXPECT_EQ(status, 0);
      writers.pop_back();
    }
  }
  EXPECT_GT(looks, 100);
  EXPECT_EQ(ReadFile(kConfFile), with("\"1000\""));
  for (int i = 0; i < kWriters; ++i) {
    EXPECT_THAT(ReadFile(kMirrorFile), HasSubstr("mac0_" + std::to_string(i) + "=\"1000\"\n"));
  }
  EXPECT_THAT(ListDirectory("/usr/tavo/tavoha/etc"), ElementsAre("ha.conf"));
}

}  // namespace
