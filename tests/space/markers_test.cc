#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavohacore/space.h>

#include <filesystem>

#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace {

using namespace test_support;
using namespace testing;

constexpr char kExpanding[] = "/tmp/ha/ha_is_expanding_space";

auto Error(const std::string& body) { return Logged("ERROR", "space", body); }
auto Notice(const std::string& body) { return Logged("NOTICE", "space", body); }

TEST(ExpandingMarker, HoldsTheLastValueAlone) {
  LogCapture log;
  EXPECT_EQ(HASpaceExpandResizePre("/volume1"), -1) << "without the directory";
  EXPECT_THAT(log.Take(), ElementsAre(Notice("HA expand space pre [/volume1]"),
                                      Error("Failed to touch file " + std::string(kExpanding))));
  std::filesystem::create_directory("/tmp/ha");
  for (const char* bad : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(HASpaceExpandResizePre(bad), -1);
    EXPECT_THAT(log.Take(), ElementsAre(Error("error parameter")));
  }
  EXPECT_THAT(ListDirectory("/tmp/ha"), IsEmpty());
  WriteFile("/tmp/elsewhere", "untouched");
  std::filesystem::create_symlink("/tmp/elsewhere", kExpanding);
  for (const std::string value : {"/volume1", "a = \"b\""}) {
    EXPECT_EQ(HASpaceExpandResizePre(value.c_str()), 0);
    EXPECT_EQ(ReadFile(kExpanding), "[Information]\n\texpandSpace=" + value + "\n");
    EXPECT_THAT(log.Take(), ElementsAre(Notice("HA expand space pre [" + value + "]")));
  }
  EXPECT_EQ(ReadFile("/tmp/elsewhere"), "untouched");
  EXPECT_EQ(HASpaceExpandResizePre("two\nlines"), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Notice("HA expand space pre [two\nlines]"),
                                      Error("Failed to add section")));
}

TEST(FakeDrbdRole, IsWhatWasSetLastOrNone) {
  LogCapture log;
  const auto set = [](int role) {
    return HANoSpaceFakeDRBDRoleSet(static_cast<FAKE_DRBD_ROLE>(role));
  };
  EXPECT_EQ(HANoSpaceFakeDRBDRoleClear(), -1);
  for (const int role : {1, 2}) EXPECT_EQ(set(role), -1) << "without the directory";
  EXPECT_THAT(
      log.Take(),
      ElementsAre(Notice("Set fake drbd to 1"), Error("Failed to set fake drbd primary"),
                  Notice("Set fake drbd to 2"), Error("Failed to set fake drbd secondary")));
  std::filesystem::create_directory("/tmp/ha");
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_NONE);
  for (const int role : {2, 1, 1, 2}) {
    EXPECT_EQ(set(role), 0);
    EXPECT_THAT(log.Take(), ElementsAre(Notice("Set fake drbd to " + std::to_string(role))));
    EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), role);
    EXPECT_THAT(ListDirectory("/tmp/ha"),
                ElementsAre(role == 1 ? "ha_fake_drbd_primary" : "ha_fake_drbd_secondary"));
  }
  for (const int role : {0, 3, -1}) {
    EXPECT_EQ(set(role), -1);
    EXPECT_THAT(log.Take(), ElementsAre(Notice("Set fake drbd to " + std::to_string(role)),
                                        Error("parameter error")));
    EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_SECONDARY);
  }
  WriteFile("/tmp/ha/ha_fake_drbd_primary", "");
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_PRIMARY) << "of both markers";
  EXPECT_EQ(HANoSpaceFakeDRBDRoleClear(), 0);
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_NONE);
  EXPECT_THAT(ListDirectory("/tmp/ha"), IsEmpty());
}

}  // namespace
