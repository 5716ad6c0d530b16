#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavohacore/state.h>

#include "tests/support/appliance.h"
#include "tests/support/log_capture.h"

namespace {

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kDefaults[] = "/etc.defaults/tavoinfo.conf";

TEST(Model, IsTheClustersThenTheNodesAndAlwaysATextOnSuccess) {
  const struct {
    const char* conf;
    const char* defaults;
    int size;
    const char* model;
  } cases[] = {
      {"ha_model=\"TX900\"\n", "upnpmodelname=\"TX100\"\n", 16, "TX900"},
      {"ha_model=\"\"\n", "upnpmodelname=\"TX100\"\n", 16, ""},
      {"", "upnpmodelname=\"TX100\"\n", 16, "TX100"},
      {"", "upnpmodelname=\"TX100\"\n", 4, "TX1"},
      {"", "other=\"x\"\n", 16, ""},
  };
  LogCapture log;
  for (const auto& [conf, defaults, size, model] : cases) {
    SetConf(conf);
    WriteFile(kDefaults, defaults);
    char buffer[16];
    memset(buffer, '?', sizeof buffer);
    EXPECT_EQ(TAVOHAGetModel(buffer, size), 0);
    EXPECT_STREQ(buffer, model);
  }
  EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(Model, FailsWithItsLine) {
  LogCapture log;
  SetConf("");
  unlink(kDefaults);
  char buffer[16];
  EXPECT_EQ(TAVOHAGetModel(buffer, sizeof buffer), -1);
  const auto failed =
      Logged("ERROR", "ha_get_model", "Failed to get model name from /etc.defaults/tavoinfo.conf");
  EXPECT_THAT(log.Take(), ElementsAre(failed));
  EXPECT_EQ(TAVOHAGetModel(buffer, 0), -1);
  EXPECT_EQ(TAVOHAGetModel(nullptr, 16), -1);
  const auto refused = Logged("ERROR", "ha_get_model", "Invalid argument");
  EXPECT_THAT(log.Take(), ElementsAre(refused, refused));
  EXPECT_EQ(TAVOHAGetModel(buffer, -1), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument"), failed));
}

}  // namespace
