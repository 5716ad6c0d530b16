#include <gtest/gtest.h>
#include <tavohacore/state.h>

#include "tests/support/appliance.h"

namespace {

using namespace test_support;

TEST(Model, IsTheClustersThenTheNodesAndAlwaysATextOnSuccess) {
  constexpr char kFailure[] =
      "ERROR ha_get_model: Failed to get model name from /etc.defaults/tavoinfo.conf";
  const struct {
    const char *conf, *defaults;  // null: no file
    int size, result;
    std::string model, lines;
  } cases[] = {
      {"ha_model=\"TX900\"\n", "upnpmodelname=\"TX100\"\n", 16, 0, "TX900", ""},
      {"", "upnpmodelname=\"TX100\"\n", 16, 0, "TX100", ""},
      {"", "upnpmodelname=\"TX100\"\n", 4, 0, "TX1", ""},
      {"", "other=\"x\"\n", 16, 0, "", ""},
      {"", nullptr, 16, -1, "?", kFailure},
      {"", "", 0, -1, "?", "ERROR ha_get_model: Invalid argument"},
      {"", "", -1, -1, "?", std::string("ERROR conf: Invalid argument; ") + kFailure},
  };
  LogCapture log;
  for (const auto& [conf, defaults, size, result, model, lines] : cases) {
    SetConf(conf);
    WriteFile("/etc.defaults/tavoinfo.conf", defaults == nullptr ? "" : defaults);
    if (defaults == nullptr) unlink("/etc.defaults/tavoinfo.conf");
    char buffer[16] = "?";
    EXPECT_EQ(TAVOHAGetModel(buffer, size), result);
    EXPECT_EQ(buffer, model);
    EXPECT_EQ(TakeLines(log), lines);
  }
  EXPECT_EQ(TAVOHAGetModel(nullptr, 16), -1);
  EXPECT_EQ(TakeLines(log), "ERROR ha_get_model: Invalid argument");
}

}  // namespace
