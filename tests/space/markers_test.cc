#include <tavohacore/space.h>

#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr char kExpanding[] = "/tmp/ha/ha_is_expanding_space";

TEST(ExpandingMarker, HoldsTheLastValueAlone) {
  LogCapture log;
  const std::string pre = "NOTICE space: HA expand space pre [",
                    error = "; ERROR space: Failed to ";
  EXPECT_EQ(HASpaceExpandResizePre("/volume1"), -1) << "without the directory";
  EXPECT_EQ(log.Take(), pre + "/volume1]" + error + "touch file " + kExpanding);
  mkdir("/tmp/ha", 0755);
  for (const char* bad : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(HASpaceExpandResizePre(bad), -1);
    EXPECT_EQ(log.Take(), "ERROR space: error parameter");
  }
  EXPECT_THAT(ListDirectory("/tmp/ha"), IsEmpty());
  WriteFile("/tmp/elsewhere", "untouched");
  ASSERT_EQ(symlink("/tmp/elsewhere", kExpanding), 0);
  for (const std::string value : {"/volume1", "a = \"b\""}) {
    EXPECT_EQ(HASpaceExpandResizePre(value.c_str()), 0);
    EXPECT_EQ(ReadFile(kExpanding), "[Information]\n\texpandSpace=" + value + "\n");
    EXPECT_EQ(log.Take(), pre + value + "]");
  }
  EXPECT_EQ(ReadFile("/tmp/elsewhere"), "untouched");
  EXPECT_EQ(HASpaceExpandResizePre("two\nlines"), -1);
  EXPECT_EQ(log.Take(), pre + "two\nlines]" + error + "add section");
}

TEST(FakeDrbdRole, IsWhatWasSetLastOrNone) {
  LogCapture log;
  const auto expect_set = [&](int role, int result, const std::string& error) {
    EXPECT_EQ(HANoSpaceFakeDRBDRoleSet(static_cast<FAKE_DRBD_ROLE>(role)), result);
    EXPECT_EQ(log.Take(), "NOTICE space: Set fake drbd to " + std::to_string(role) + error);
  };
  EXPECT_EQ(HANoSpaceFakeDRBDRoleClear(), -1) << "without the directory";
  expect_set(1, -1, "; ERROR space: Failed to set fake drbd primary");
  expect_set(2, -1, "; ERROR space: Failed to set fake drbd secondary");
  mkdir("/tmp/ha", 0755);
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_NONE);
  for (const int role : {2, 1, 1, 2}) {
    expect_set(role, 0, "");
    EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), role);
    EXPECT_THAT(ListDirectory("/tmp/ha"),
                ElementsAre(role == 1 ? "ha_fake_drbd_primary" : "ha_fake_drbd_secondary"));
  }
  for (const int role : {0, 3, -1}) expect_set(role, -1, "; ERROR space: parameter error");
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_SECONDARY);
  WriteFile("/tmp/ha/ha_fake_drbd_primary", "");
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_PRIMARY) << "of both markers";
  EXPECT_EQ(HANoSpaceFakeDRBDRoleClear(), 0);
  EXPECT_THAT(ListDirectory("/tmp/ha"), IsEmpty());
}

}  // namespace
