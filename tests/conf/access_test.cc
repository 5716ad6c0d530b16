#include <tavohacore/conf.h>

#include "platform/tavlib.h"
#include "tests/frame/logged.h"

namespace {

using namespace test_support;

constexpr char kDefaults[] = "/usr/tavo/tavoha/etc.defaults/ha.conf";
const std::string kInvalid = "-1 ERROR conf: Invalid argument";

HA_CONF_TYPE Type(int value) { return static_cast<HA_CONF_TYPE>(value); }

// Returns the value, or "-" when it cannot be had.
std::string Get(int type, int index = 0) {
  char value[1024] = "untouched";
  return TAVOHAGetConf(Type(type), index, value, sizeof value) == 0 ? value : "-";
}

using Conf = Logged;

TEST_F(Conf, VirtualTypesFollowTheHostDirection) {
  for (const auto& [host0, direction] :
       {std::pair<std::string, int>("nas-a", 0), {"nas-b", 1}, {"", 1}, {"NAS-A", 1}}) {
    SetConf("host0=\"" + host0 +
            "\"\nhost1=h1\ndrbd_ip0=d0\ndrbd_ip1=d1\nip0=i0\nip1=i1\nmac0_4=m0\nmac1_4=m1\n");
    EXPECT_EQ(TAVOHAGetHostDirection(), direction);
    std::string values;
    for (int type = HA_CONF_DRBD_IP_LOCAL; type < HA_CONF_TYPE_INVALID; ++type) {
      values += Get(type, 4) + " ";
    }
    EXPECT_EQ(values, direction == 0 ? "d0 d1 " + host0 + " h1 i0 i1 m0 m1 "
                                     : "d1 d0 h1 " + host0 + " i1 i0 m1 m0 ");
  }

  char value[8];  // an unknown direction fails only virtual types
  SetConf("ip0=\"10.0.0.1\"\n");
  EXPECT_EQ(Outcome(TAVOHAGetConf(HA_CONF_IP_REMOTE, 0, value, sizeof value)),
            "-1 ERROR conf: Failed to get conf host0; ERROR conf: Failed to get host direction; "
            "ERROR conf: Failed to map virtual conf type 41 to real conf type; "
            "ERROR conf: Failed to map conf type 41 to real conf type");
  EXPECT_EQ(Get(HA_CONF_IP0), "10.0.0.1");
  SetConf("host0=\"nas-a\"\n");
  ASSERT_EQ(sethostname("", 0), 0);
  EXPECT_THAT(Outcome(TAVOHAGetHostDirection()),
              AllOf(StartsWith("-1 "), EndsWith("; ERROR conf: Failed to get host name")));
}

TEST_F(Conf, BadInputIsLoggedAndChangesNothing) {
  SetConf("host0=\"nas-a\"\n");
  char value[8] = "before";
  EXPECT_EQ(Outcome(TAVOHAGetConf(HA_CONF_HOST0, 0, nullptr, 8)), kInvalid);
  EXPECT_EQ(Outcome(TAVOHAGetConf(HA_CONF_HOST0, 0, value, 0)), kInvalid);
  EXPECT_EQ(Outcome(TAVOHASetConf(HA_CONF_HOST0, 0, nullptr)), kInvalid);
  EXPECT_EQ(Outcome(TAVOHAGetConfByIF(0, "eth0", nullptr, 8)), kInvalid);
  EXPECT_EQ(Outcome(TAVOHAGetConfByIF(0, "eth0", value, 0)), kInvalid);
  EXPECT_EQ(Outcome(TAVOHAGetConfByIF(0, nullptr, value, 8)), kInvalid);
  for (const int attribute : {-1, 4}) {
    EXPECT_EQ(Outcome(TAVOHAGetConfByIF(attribute, "eth0", value, 8)), kInvalid);
  }
  for (const auto& [type, index, line] :
       {std::tuple(44, 0, "Failed to map conf type 44 to real conf type"),
        {-1, 0, "Failed to map conf type -1 to real conf type"},
        {HA_CONF_MAC0, 12, "Failed to get the key of conf type 34, idx 12"},
        {HA_CONF_MAC_LOCAL, -1, "Failed to get the key of conf type 34, idx -1"}}) {
    const std::string refused = kInvalid + "; ERROR conf: " + line;
    EXPECT_EQ(Outcome(TAVOHAGetConf(Type(type), index, value, 8)), refused);
    EXPECT_EQ(Outcome(TAVOHASetConf(Type(type), index, "x")), refused);
  }
  EXPECT_EQ(Outcome(TAVOHAGetConfByIF(0, "lo", value, 8)), "-1");
  EXPECT_EQ(TAVLIBErrGet(), 0xD900);
  EXPECT_EQ(Outcome(TAVOHAGetConfByIF(0, "eth12", value, 8)),
            kInvalid + "; ERROR conf: Failed to get the key of conf type 25, idx 12");
  EXPECT_EQ(Outcome(TAVOHAGetConf(HA_CONF_IP0, 0, value, 8)), "-1") << "there is no such key";
  EXPECT_STREQ(value, "before");
  EXPECT_EQ(Outcome(TAVOHASetConf(HA_CONF_HOST1, 0, "two\nlines")),
            "-1 ERROR conf: Failed to set key: host1");
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"nas-a\"\n");
}

TEST_F(Conf, ReadsFillTheMirrorAndThenPreferIt) {
  SetConf("host0=\"a\"\nip0=\"1\"\ncorosync_key=\"secret\"\n");
  EXPECT_EQ(Get(HA_CONF_COROSYNC_KEY), "secret");
  EXPECT_EQ(TAVOHASetConf(HA_CONF_COROSYNC_KEY, 0, "secret"), 0);
  EXPECT_FALSE(Exists(kMirrorFile)) << "a secret in /tmp";
  EXPECT_EQ(Get(HA_CONF_HOST0), "a");
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"a\"\n");
  WriteFile(kConfFile, "host0=\"b\"\nip0=\"2\"\ncorosync_key=\"new\"\n");
  WriteFile(kMirrorFile, "host0=\"a\"\ncorosync_key=\"planted\"\n");
  EXPECT_EQ(Get(HA_CONF_HOST0), "a");
  EXPECT_EQ(Get(HA_CONF_IP0), "2") << "a key that the mirror lacks";
  EXPECT_EQ(Get(HA_CONF_COROSYNC_KEY), "new");
  EXPECT_EQ(Outcome(TAVOHASetConf(HA_CONF_HOST0, 0, "c")), "0");
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"c\"\ncorosync_key=\"planted\"\nip0=\"2\"\n");
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"c\"\nip0=\"2\"\ncorosync_key=\"new\"\n");

  // A mirror that cannot be written fails only the write.
  unlink(kMirrorFile);
  std::filesystem::create_directories(kMirrorFile + std::string("/in-the-way"));
  EXPECT_EQ(Get(HA_CONF_HOST0), "c");
  EXPECT_EQ(log.Take(), "ERROR conf: Failed to set key");
  EXPECT_EQ(Outcome(TAVOHASetConf(HA_CONF_HOST0, 0, "d")),
            "-1 ERROR conf: Failed to set key: host0");
  EXPECT_THAT(ReadFile(kConfFile), StartsWith("host0=\"d\"\n"));
}

TEST_F(Conf, ValuesHaveUpTo1023BytesAndTheCustomSerialNumberAFieldOf31) {
  const std::string fits(1023, 'v');
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_UNIQUE, 0, fits.c_str()), 0);
  EXPECT_EQ(Get(HA_CONF_HA_UNIQUE), fits);
  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_UNIQUE, 0, (fits + "v").c_str()), 0);
  EXPECT_EQ(Get(HA_CONF_HA_UNIQUE), "-");
  EXPECT_THAT(log.Take(), StartsWith("ERROR conf: No buffer space available"));

  ASSERT_EQ(TAVOHASetConf(HA_CONF_HA_SN_CUSTOM, 0, "short"), 0);
  for (const auto& [size, bytes] : {std::pair(31, "short" + std::string(26, '\0') + "##"),
                                    {32, "short" + std::string(1, '\0') + std::string(27, '#')}}) {
    std::string buffer(33, '#');
    EXPECT_EQ(TAVOHAGetConf(HA_CONF_HA_SN_CUSTOM, 0, buffer.data(), size), 0);
    EXPECT_EQ(buffer, bytes);
  }
}

TEST_F(Conf, ResetCopiesTheDefaultsOrEmptiesEveryValue) {
  WriteFile(kConfFile, "# mine\nhost0=\"a\"\nown_key=\"b\"\n");
  WriteFile(kMirrorFile, "host0=\"a\"\n");
  EXPECT_EQ(Outcome(TAVOHAResetConf()), "0");
  EXPECT_EQ(ReadFile(kConfFile), "# mine\nhost0=\"\"\nown_key=\"\"\n");
  WriteFile(kDefaults, "host0=\"factory\"\n");
  EXPECT_EQ(Outcome(TAVOHAResetConf()), "0");
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"factory\"\n");
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"a\"\n");

  std::filesystem::remove_all("/usr/tavo/tavoha/etc");
  EXPECT_EQ(Outcome(TAVOHAResetConf()), "-1 ERROR conf: Failed to copy ha.conf.");
  unlink(kDefaults);
  EXPECT_EQ(Outcome(TAVOHAResetConf()), "-1 ERROR conf: Failed to get pair.");
}

TEST_F(Conf, ForgettingThePeerEmptiesItsKeysOnlyAndStopsAtTheFirstFailure) {
  const auto conf = [](const std::string& hybrid, const std::string& host1,
                       const std::string& mac) {
    std::string lines = "is_hybrid=\"" + hybrid + "\"\nhost0=\"nas-a\"\nhost1=\"" + host1 +
                        "\"\nip0=\"1\"\nip1=\"" + mac + "\"\n";
    for (int i = 0; i < 12; ++i) {
      const std::string key = "_" + std::to_string(i) + "=\"";
      lines += "mac0" + key + "m\"\nmac1" + key + mac + "\"\n";
    }
    return lines;
  };
  SetConf(conf("true", "nas-b", "m"));
  EXPECT_EQ(Outcome(TAVOHACleanConfRemote()), "0");
  EXPECT_EQ(ReadFile(kConfFile), conf("false", "", ""));

  SetConf("ip0=\"1\"\n");  // no host0: no host direction
  EXPECT_THAT(Outcome(TAVOHACleanConfRemote()),
              AllOf(StartsWith("-1 "), EndsWith("; ERROR conf: failed to clean remote host.")));
  EXPECT_EQ(ReadFile(kConfFile), "ip0=\"1\"\nis_hybrid=\"false\"\n");
  std::filesystem::remove_all("/usr/tavo");
  EXPECT_EQ(Outcome(TAVOHACleanConfRemote()),
            "-1 ERROR conf: Failed to set key: is_hybrid; ERROR conf: failed to clean is_hybrid.");
}

TEST_F(Conf, WritersInEightProcessesLoseNothingAndReadersSeeWholeFiles) {
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
  for (const std::string whole = with("\"[0-9]+\""); !writers.empty();) {
    ASSERT_EQ(Get(HA_CONF_COROSYNC_KEY), "whole");
    ASSERT_THAT(ReadFile(kConfFile), MatchesRegex(whole));
    int status = 0;
    if (waitpid(writers.back(), &status, WNOHANG) == 0) continue;
    EXPECT_EQ(status, 0);
    writers.pop_back();
  }
  EXPECT_EQ(ReadFile(kConfFile), with("\"1000\""));
  for (int i = 0; i < kWriters; ++i) {
    EXPECT_THAT(ReadFile(kMirrorFile), HasSubstr("mac0_" + std::to_string(i) + "=\"1000\"\n"));
  }
  EXPECT_THAT(ListDirectory("/usr/tavo/tavoha/etc"), ElementsAre("ha.conf"));
}

}  // namespace
