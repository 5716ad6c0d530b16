#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <tavohacore/state.h>

#include "platform/tavlib.h"
#include "tests/support/appliance.h"
#include "tests/support/log_capture.h"

namespace {

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kKernel[] = "/proc/sys/kernel";
constexpr char kSerialFile[] = "/proc/sys/kernel/tavo_serial";
constexpr char kCustomFile[] = "/proc/sys/kernel/tavo_custom_serial";

struct SerialNumber : testing::Test {
  SerialNumber() { EXPECT_EQ(mount("kernel", kKernel, "tmpfs", 0, nullptr), 0); }
  ~SerialNumber() override { umount2(kKernel, MNT_DETACH); }
};

TEST_F(SerialNumber, IsTheClustersWhateverTheKernelHas) {
  SetConf("ha_sn=\"CLUSTER1\"\nha_sn_custom=\"" + std::string(31, 'C') + "\"\n");
  LogCapture log;
  char serial[36];
  EXPECT_EQ(TAVOHAGetSN(0, serial, sizeof serial), 0);
  EXPECT_STREQ(serial, "CLUSTER1");
  EXPECT_EQ(TAVOHAGetSN(5, serial, sizeof serial), 0);
  EXPECT_EQ(serial, std::string(31, 'C'));
  serial[31] = '?';
  EXPECT_EQ(TAVOHAGetSN(1, serial, 31), 0);
  EXPECT_EQ(std::string(serial, 32), std::string(31, 'C') + '?') << "31 bytes and not one more";
  EXPECT_EQ(TAVOHAGetSN(0, serial, 4), 0);
  EXPECT_STREQ(serial, "CLU");
  EXPECT_THAT(log.Take(), IsEmpty());
}

TEST_F(SerialNumber, FallsBackToTheKernels) {
  SetConf("");
  LogCapture log;
  const std::string long_serial(40, 'L');
  const struct {
    std::string file;
    unsigned size;
    std::string serial;
  } cases[] = {
      {"ABCDEFGHIJ\n", 36, "ABCDEFGHIJ"},
      {"ABCDEFGHIJ", 11, "ABCDEFGHIJ"},
      {"", 1, ""},
      {"\n", 36, ""},
      {long_serial, 64, long_serial.substr(0, 35)},
      {long_serial.substr(0, 35) + "\n", 36, long_serial.substr(0, 35)},
      {"ABCDEFGHIJ\n", 10, ""},  // does not fit
  };
  for (const auto& [file, size, expected] : cases) {
    for (const int custom : {0, 1}) {
      SCOPED_TRACE(file);
      WriteFile(custom != 0 ? kCustomFile : kSerialFile, file);
      WriteFile(custom != 0 ? kSerialFile : kCustomFile, "the other one\n");
      TAVLIBErrSetEx(0, "none", 0);
      std::string serial(size + 1, '?');
      EXPECT_EQ(TAVOHAGetSN(custom, serial.data(), size), 0);
      EXPECT_STREQ(serial.c_str(), expected.c_str());
      EXPECT_EQ(serial[size], '?');
      const bool fits = size > 10 || file.size() < 2;
      EXPECT_EQ(TAVLIBErrGet() == 0x0D00, !fits);
      if (!fits) {
        EXPECT_EQ(serial, std::string(size, '\0') + '?');
      }
      EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "ha_get_sn",
                                                 "Failed to get HA serial number from conf.")));
    }
  }
}

TEST_F(SerialNumber, FailsWithItsLinesWhenTheKernelHasNone) {
  SetConf("");
  LogCapture log;
  char serial[36];
  const auto none =
      ElementsAre(Logged("ERROR", "ha_get_sn", "Failed to get HA serial number from conf."),
                  Logged("ERROR", "ha_get_sn", "Failed to get serial number"));
  EXPECT_EQ(TAVOHAGetSN(0, serial, sizeof serial), -1);
  EXPECT_THAT(log.Take(), none);
  ASSERT_EQ(mkdir(kCustomFile, 0755), 0);  // opens, but cannot be read
  EXPECT_EQ(TAVOHAGetSN(1, serial, sizeof serial), -1);
  EXPECT_THAT(log.Take(), none);
  const auto refused = Logged("ERROR", "ha_get_sn", "Invalid argument");
  EXPECT_EQ(TAVOHAGetSN(0, nullptr, 36), -1);
  EXPECT_EQ(TAVOHAGetSN(0, serial, 0), -1);
  EXPECT_THAT(log.Take(), ElementsAre(refused, refused));
}

}  // namespace
