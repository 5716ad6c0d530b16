// What the node is called and numbered, and the environment of its tools.
#include <tavohacore/state.h>

#include <cstdlib>

#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

TEST(Environment, LacksNothingAfterwardsAndGainsNothingTwice) {
  const std::string ours = "/usr/bin:/usr/tavo/tavoha/bin:/usr/tavo/tavoha/sbin:";
  for (const auto& [before, after] :
       {std::pair<const char*, std::string>{nullptr, ours + ":/usr/local/bin"},
        {"/bin:/usr/bin", ours + "/bin:/usr/bin:/usr/local/bin"},
        {"/x:/usr/tavo/tavoha/bin:/y:/usr/local/bin",
         "/usr/bin:/usr/tavo/tavoha/sbin:/x:/usr/tavo/tavoha/bin:/y:/usr/local/bin"}}) {
    if (before == nullptr ? unsetenv("PATH") : setenv("PATH", before, 1)) FAIL();
    setenv("OCF_ROOT", "/old", 1);
    for (int call = 0; call < 2; ++call) {
      EXPECT_EQ(HAEnvPathInit(), 0);
      EXPECT_EQ(getenv("PATH"), after);
      EXPECT_STREQ(getenv("OCF_ROOT"), "/usr/tavo/tavoha/lib/ocf/");
    }
  }
}

TEST(Model, IsTheClustersThenTheNodesAndAlwaysATextOnSuccess) {
  constexpr char kDefaults[] = "/etc.defaults/tavoinfo.conf";
  const std::string failure = std::string("ERROR ha_get_model: Failed to get model name from ") +
                              kDefaults,
                    invalid = "ERROR ha_get_model: Invalid argument";
  const struct {
    const char *conf, *defaults;  // null: no file
    int size, result;
    std::string model, lines;
  } cases[] = {{"ha_model=\"TX900\"\n", "upnpmodelname=\"TX100\"\n", 16, 0, "TX900", ""},
               {"", "upnpmodelname=\"TX100\"\n", 4, 0, "TX1", ""},
               {"", "other=\"x\"\n", 16, 0, "", ""},
               {"", nullptr, 16, -1, "?", failure},
               {"", "", 0, -1, "?", invalid},
               {"", "", -1, -1, "?", "ERROR conf: Invalid argument; " + failure}};
  LogCapture log;
  for (const auto& [conf, defaults, size, result, model, lines] : cases) {
    SetConf(conf);
    WriteFile(kDefaults, defaults == nullptr ? "" : defaults);
    if (defaults == nullptr) unlink(kDefaults);
    char buffer[16] = "?";
    EXPECT_EQ(TAVOHAGetModel(buffer, size), result);
    EXPECT_EQ(buffer, model);
    EXPECT_EQ(log.Take(), lines);
  }
  EXPECT_EQ(TAVOHAGetModel(nullptr, 16), -1);
  EXPECT_EQ(log.Take(), invalid);
}

TEST(SerialNumber, IsTheClustersThenTheKernelsAndFitsTheBuffer) {
  ASSERT_EQ(mount("kernel", "/proc/sys/kernel", "tmpfs", 0, nullptr), 0);
  constexpr char kSerialFile[] = "/proc/sys/kernel/tavo_serial";
  constexpr char kCustomFile[] = "/proc/sys/kernel/tavo_custom_serial";
  const std::string l(40, 'L'),
      digits = "ABCDEFGHIJ", custom(31, 'C'),
      not_recorded = "ERROR ha_get_sn: Failed to get HA serial number from conf.";
  LogCapture log;
  const auto get = [&](int is_custom, unsigned size) {
    std::string serial(64, '?');
    EXPECT_EQ(TAVOHAGetSN(is_custom, serial.data(), size), 0);
    EXPECT_EQ(serial.substr(size), std::string(64 - size, '?')) << "written past the end";
    return serial.substr(0, size);
  };
  SetConf("ha_sn=\"CLUSTER1\"\nha_sn_custom=\"" + custom + "\"\n");
  EXPECT_STREQ(get(0, 36).c_str(), "CLUSTER1");
  EXPECT_STREQ(get(0, 4).c_str(), "CLU");
  EXPECT_STREQ(get(5, 36).c_str(), custom.c_str());
  EXPECT_EQ(get(1, 31), custom) << "a record, not a text";
  EXPECT_EQ(log.Take(), "");

  SetConf("");
  const struct {
    unsigned size;
    int record;
    std::string file, serial;
  } cases[] = {{11, 0, digits + "\n", digits},
               {1, 0, "\n", ""},
               {60, 0, l, l.substr(0, 35)},
               {36, 0, l.substr(0, 35) + "\n", l.substr(0, 35)},
               {10, 0x0D00, digits, ""}};
  for (const auto& [size, record, file, expected] : cases) {
    for (const int is_custom : {0, 1}) {
      WriteFile(is_custom != 0 ? kCustomFile : kSerialFile, file);
      WriteFile(is_custom != 0 ? kSerialFile : kCustomFile, "the other one\n");
      TAVLIBErrSetEx(0, "none", 0);
      EXPECT_STREQ(get(is_custom, size).c_str(), expected.c_str());
      EXPECT_EQ(TAVLIBErrGet() == 0x0D00, record == 0x0D00);
      EXPECT_EQ(log.Take(), not_recorded);
    }
  }
  unlink(kSerialFile);
  unlink(kCustomFile);
  mkdir(kCustomFile, 0755);  // opens, but cannot be read
  char serial[36];
  for (const int is_custom : {0, 1}) {
    EXPECT_EQ(TAVOHAGetSN(is_custom, serial, sizeof serial), -1);
    EXPECT_EQ(log.Take(), not_recorded + "; ERROR ha_get_sn: Failed to get serial number");
  }
  EXPECT_EQ(TAVOHAGetSN(0, nullptr, 36), -1);
  EXPECT_EQ(TAVOHAGetSN(0, serial, 0), -1);
  EXPECT_EQ(log.Take(), "ERROR ha_get_sn: Invalid argument; ERROR ha_get_sn: Invalid argument");
}

}  // namespace
