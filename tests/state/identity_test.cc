// What the node is called and numbered, and the environment of its tools.
#include <tavohacore/state.h>

#include <cstdlib>

#include "platform/tavlib.h"
#include "tests/frame/logged.h"

namespace {

using namespace test_support;

TEST(Environment, LacksNothingAfterwardsAndGainsNothingTwice) {
  setenv("PATH", "/x:/usr/tavo/tavoha/bin:/y", 1);
  setenv("OCF_ROOT", "/old", 1);
  for (int call = 0; call < 2; ++call) {
    EXPECT_EQ(HAEnvPathInit(), 0);
    EXPECT_STREQ(getenv("PATH"),
                 "/usr/bin:/usr/tavo/tavoha/sbin:/x:/usr/tavo/tavoha/bin:/y:/usr/local/bin");
    EXPECT_STREQ(getenv("OCF_ROOT"), "/usr/tavo/tavoha/lib/ocf/");
  }
  unsetenv("PATH");
  EXPECT_EQ(HAEnvPathInit(), 0);
  EXPECT_STREQ(getenv("PATH"),
               "/usr/bin:/usr/tavo/tavoha/bin:/usr/tavo/tavoha/sbin::/usr/local/bin");
}

using Model = Logged;

TEST_F(Model, IsTheClustersThenTheNodesAndAlwaysATextOnSuccess) {
  constexpr char kDefaults[] = "/etc.defaults/tavoinfo.conf";
  const std::string failure = "ERROR ha_get_model: Failed to get model name from ",
                    invalid = "-1 ERROR ha_get_model: Invalid argument";
  const std::tuple<const char*, const char*, int, std::string, std::string> cases[] = {
      {"ha_model=\"TX900\"\n", "upnpmodelname=\"TX100\"\n", 16, "0", "TX900"},
      {"", "upnpmodelname=\"TX100\"\n", 4, "0", "TX1"},
      {"", "other=\"x\"\n", 16, "0", ""},
      {"", "", 0, invalid, "?"},
      {"", "", -1, "-1 ERROR conf: Invalid argument; " + failure + kDefaults, "?"}};
  for (const auto& [conf, defaults, size, outcome, model] : cases) {
    SetConf(conf);
    WriteFile(kDefaults, defaults);
    char buffer[16] = "?";
    EXPECT_EQ(Outcome(TAVOHAGetModel(buffer, size)), outcome);
    EXPECT_EQ(buffer, model);
  }
  EXPECT_EQ(Outcome(TAVOHAGetModel(nullptr, 16)), invalid);
}

using SerialNumber = Logged;

TEST_F(SerialNumber, IsTheClustersThenTheKernelsAndFitsTheBuffer) {
  ASSERT_EQ(mount("kernel", "/proc/sys/kernel", "tmpfs", 0, nullptr), 0);
  const std::string kernel = "/proc/sys/kernel/tavo_", custom(31, 'C'), digits = "ABCDEFGHIJ",
                    l(40, 'L'), error = " ERROR ha_get_sn: ",
                    not_recorded = error + "Failed to get HA serial number from conf.";
  // The bytes of the buffer, behind the outcome.
  const auto get = [&](int is_custom, unsigned size) {
    std::string serial(64, '?');
    const std::string outcome = Outcome(TAVOHAGetSN(is_custom, serial.data(), size));
    EXPECT_EQ(serial.substr(size), std::string(64 - size, '?')) << "written past the end";
    return outcome + ": " + serial.substr(0, std::min<size_t>(size, strlen(serial.c_str())));
  };
  SetConf("ha_sn=\"CLUSTER1\"\nha_sn_custom=\"" + custom + "\"\n");
  EXPECT_EQ(get(0, 36), "0: CLUSTER1");
  EXPECT_EQ(get(0, 4), "0: CLU");
  EXPECT_EQ(get(5, 36), "0: " + custom);
  EXPECT_EQ(get(1, 31), "0: " + custom) << "a record, not a text";

  SetConf("");
  for (const auto& [size, file, expected] : {std::tuple(11U, digits + "\n", digits),
                                             {1U, "\n", ""},
                                             {60U, l, l.substr(0, 35)},
                                             {36U, l.substr(0, 35) + "\n", l.substr(0, 35)},
                                             {10U, digits, ""}}) {
    for (const int is_custom : {0, 1}) {
      WriteFile(kernel + (is_custom != 0 ? "custom_serial" : "serial"), file);
      WriteFile(kernel + (is_custom != 0 ? "serial" : "custom_serial"), "the other one\n");
      TAVLIBErrSetEx(0, "none", 0);
      EXPECT_EQ(get(is_custom, size), "0" + not_recorded + ": " + expected);
      EXPECT_EQ(TAVLIBErrGet() == 0x0D00, size == 10);
    }
  }
  unlink((kernel + "serial").c_str());
  unlink((kernel + "custom_serial").c_str());
  mkdir((kernel + "custom_serial").c_str(), 0755);  // opens, but cannot be read
  char serial[36];
  for (const int is_custom : {0, 1}) {
    EXPECT_EQ(Outcome(TAVOHAGetSN(is_custom, serial, sizeof serial)),
              "-1" + not_recorded + ";" + error + "Failed to get serial number");
  }
  EXPECT_EQ(Outcome(TAVOHAGetSN(0, nullptr, 36)), "-1" + error + "Invalid argument");
  EXPECT_EQ(Outcome(TAVOHAGetSN(0, serial, 0)), "-1" + error + "Invalid argument");
}

}  // namespace
