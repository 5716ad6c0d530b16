#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <tavohacore/state.h>

#include "platform/tavlib.h"
#include "tests/support/appliance.h"

namespace {

using namespace test_support;

constexpr char kKernel[] = "/proc/sys/kernel";
constexpr char kSerialFile[] = "/proc/sys/kernel/tavo_serial";
constexpr char kCustomFile[] = "/proc/sys/kernel/tavo_custom_serial";
constexpr char kNotRecorded[] = "ERROR ha_get_sn: Failed to get HA serial number from conf.";

struct SerialNumber : testing::Test {
  SerialNumber() { EXPECT_EQ(mount("kernel", kKernel, "tmpfs", 0, nullptr), 0); }
  ~SerialNumber() override { umount2(kKernel, MNT_DETACH); }
  LogCapture log;
};

TEST_F(SerialNumber, IsTheClustersWhateverTheKernelHas) {
  const std::string custom(31, 'C');
  SetConf("ha_sn=\"CLUSTER1\"\nha_sn_custom=\"" + custom + "\"\n");
  char serial[36] = {};
  EXPECT_EQ(TAVOHAGetSN(0, serial, sizeof serial), 0);
  EXPECT_STREQ(serial, "CLUSTER1");
  EXPECT_EQ(TAVOHAGetSN(5, serial, sizeof serial), 0);
  EXPECT_EQ(serial, custom);
  serial[31] = '?';
  EXPECT_EQ(TAVOHAGetSN(1, serial, 31), 0);
  EXPECT_EQ(std::string(serial, 32), custom + '?') << "31 bytes and not one more";
  EXPECT_EQ(TAVOHAGetSN(0, serial, 4), 0);
  EXPECT_STREQ(serial, "CLU");
  EXPECT_EQ(TakeLines(log), "");
}

TEST_F(SerialNumber, FallsBackToTheKernels) {
  SetConf("");
  const std::string l(40, 'L');
  const struct {
    unsigned size;
    int record;
    std::string file, serial;
  } cases[] = {
      {36, 0, "ABCDEFGHIJ\n", "ABCDEFGHIJ"},
      {11, 0, "ABCDEFGHIJ", "ABCDEFGHIJ"},
      {1, 0, "\n", ""},
      {64, 0, l, l.substr(0, 35)},
      {36, 0, l.substr(0, 35) + "\n", l.substr(0, 35)},
      {10, 0x0D00, "ABCDEFGHIJ\n", std::string(10, '\0')},
  };
  for (const auto& [size, record, file, expected] : cases) {
    for (const int custom : {0, 1}) {
      WriteFile(custom != 0 ? kCustomFile : kSerialFile, file);
      WriteFile(custom != 0 ? kSerialFile : kCustomFile, "the other one\n");
      TAVLIBErrSetEx(0, "none", 0);
      std::string serial(size + 1, '?');
      EXPECT_EQ(TAVOHAGetSN(custom, serial.data(), size), 0);
      EXPECT_EQ(serial.substr(0, expected.size()), expected);
      EXPECT_LT(strlen(serial.c_str()), size);
      EXPECT_EQ(serial[size], '?');
      EXPECT_EQ(TAVLIBErrGet() == 0x0D00, record == 0x0D00);
      EXPECT_EQ(TakeLines(log), kNotRecorded);
    }
  }
}

TEST_F(SerialNumber, FailsWithItsLinesWhenTheKernelHasNone) {
  SetConf("");
  char serial[36];
  ASSERT_EQ(mkdir(kCustomFile, 0755), 0);  // opens, but cannot be read
  for (const int custom : {0, 1}) {
    EXPECT_EQ(TAVOHAGetSN(custom, serial, sizeof serial), -1);
    EXPECT_EQ(TakeLines(log),
              std::string(kNotRecorded) + "; ERROR ha_get_sn: Failed to get serial number");
  }
  EXPECT_EQ(TAVOHAGetSN(0, nullptr, 36), -1);
  EXPECT_EQ(TAVOHAGetSN(0, serial, 0), -1);
  EXPECT_EQ(TakeLines(log), "ERROR ha_get_sn: Invalid argument; ERROR ha_get_sn: Invalid argument");
}

}  // namespace
