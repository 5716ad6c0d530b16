#include <tavohacore/space.h>

#include "tests/frame/logged.h"

namespace {

using namespace test_support;

constexpr char kExpanding[] = "/tmp/ha/ha_is_expanding_space";

using ExpandingMarker = Logged;

TEST_F(ExpandingMarker, HoldsTheLastValueAlone) {
  const std::string error = "; ERROR space: Failed to ";
  const auto outcome = [](int result, const std::string& value) {
    return std::to_string(result) + " NOTICE space: HA expand space pre [" + value + "]";
  };
  EXPECT_EQ(Outcome(HASpaceExpandResizePre("/volume1")),
            outcome(-1, "/volume1") + error + "touch file " + kExpanding);
  mkdir("/tmp/ha", 0755);
  for (const char* bad : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(Outcome(HASpaceExpandResizePre(bad)), "-1 ERROR space: error parameter");
  }
  EXPECT_THAT(ListDirectory("/tmp/ha"), IsEmpty());
  for (const std::string value : {"/volume1", "a = \"b\""}) {
    EXPECT_EQ(Outcome(HASpaceExpandResizePre(value.c_str())), outcome(0, value));
    EXPECT_EQ(ReadFile(kExpanding), "[Information]\n\texpandSpace=" + value + "\n");
  }
  EXPECT_EQ(Outcome(HASpaceExpandResizePre("two\nlines")),
            outcome(-1, "two\nlines") + error + "add section");
}

using FakeDrbdRole = Logged;

TEST_F(FakeDrbdRole, IsWhatWasSetLastOrNone) {
  const auto set = [this](int role) {
    return Outcome(HANoSpaceFakeDRBDRoleSet(static_cast<FAKE_DRBD_ROLE>(role)));
  };
  const std::string noted = " NOTICE space: Set fake drbd to ", error = "; ERROR space: ";
  EXPECT_EQ(HANoSpaceFakeDRBDRoleClear(), -1) << "without the directory";
  EXPECT_EQ(set(1), "-1" + noted + "1" + error + "Failed to set fake drbd primary");
  EXPECT_EQ(set(2), "-1" + noted + "2" + error + "Failed to set fake drbd secondary");
  mkdir("/tmp/ha", 0755);
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_NONE);
  for (const int role : {2, 1, 1, 2}) {
    EXPECT_EQ(set(role), "0" + noted + std::to_string(role));
    EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), role);
    EXPECT_THAT(ListDirectory("/tmp/ha"),
                ElementsAre(role == 1 ? "ha_fake_drbd_primary" : "ha_fake_drbd_secondary"));
  }
  for (const int role : {0, 3}) {
    EXPECT_EQ(set(role), "-1" + noted + std::to_string(role) + error + "parameter error");
  }
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_SECONDARY);
  WriteFile("/tmp/ha/ha_fake_drbd_primary", "");
  EXPECT_EQ(HANoSpaceFakeDRBDRoleGet(), FAKE_DRBD_ROLE_PRIMARY) << "of both markers";
  EXPECT_EQ(HANoSpaceFakeDRBDRoleClear(), 0);
  EXPECT_THAT(ListDirectory("/tmp/ha"), IsEmpty());
}

}  // namespace
