#include <tavohacore/state.h>

#include "tests/frame/logged.h"

namespace {

using namespace test_support;

constexpr char kProgressFile[] = "/tmp/.ha.status";
constexpr char kPassiveMarker[] = "/tmp/.ha_passive_is_binding";

class BindingProgress : public Logged {
 protected:
  // For either kind of progress: its functions, its key and its word.
  template <typename Progress>
  void ExpectKept(int (*get)(Progress*), int (*set)(Progress), const std::string& key,
                  const std::string& word) {
    Progress read{99};
    WriteFile(kProgressFile, "OTHER=\"1\"\n");
    EXPECT_EQ(Outcome(set(Progress{-12})), "0");
    EXPECT_EQ(ReadFile(kProgressFile), "OTHER=\"1\"\n" + key + "=\"-12\"\n");
    EXPECT_EQ(Outcome(get(&read)), "0");
    EXPECT_EQ(read, -12);
    WriteFile(kProgressFile, key + "=\"12x\"\n");
    EXPECT_EQ(get(&read), 0);
    EXPECT_EQ(read, 12);

    const std::string line = " " + word + " progress \\[0x[0-9A-F]{4} .*:[0-9]+\\]";
    unlink(kProgressFile);
    EXPECT_THAT(Outcome(get(&read)), MatchesRegex("-1 ERROR ha: Failed to get" + line));
    EXPECT_EQ(read, 0);
    mkdir(kProgressFile, 0755);
    EXPECT_THAT(Outcome(set(Progress{3})), MatchesRegex("-1 ERROR ha: Failed to set" + line));
    rmdir(kProgressFile);
  }
};

TEST_F(BindingProgress, IsKeptAsANumberBesideOtherKeysAndZeroOnFailure) {
  ExpectKept(BindingProgressGet, BindingProgressSet, "BINDING", "binding");
  ExpectKept(UnbindingProgressGet, UnbindingProgressSet, "UNBINDING", "unbinding");
}

TEST_F(BindingProgress, IsGoingOnByTheMarkerAndThenTheNumber) {
  EXPECT_EQ(Outcome(HAIsBinding()), "0") << "without a file";
  WriteFile(kProgressFile, "UNBINDING=\"3\"\n");
  EXPECT_THAT(Outcome(HAIsBinding()), StartsWith("0 ERROR ha: Failed to get binding progress"));
  WriteFile(kProgressFile, "BINDING=\"3\"\n");
  EXPECT_EQ(Outcome(HAIsBinding()), "1");
  WriteFile(kProgressFile, "BINDING=\"7\"\n");
  EXPECT_EQ(Outcome(HAIsBinding()), "0");
  WriteFile(kPassiveMarker, "");
  EXPECT_EQ(Outcome(HAIsBinding()), "1");
}

std::string Entry(const std::string& family, int index, const std::string& flag = "true") {
  const std::string i = std::to_string(index);
  return family + "if" + i + "=" + family + i + "\n" + family + "ip" + i + "=10.0.0." + i + "\n" +
         family + "netmask" + i + "=255.0.0." + i + "\n" + family + "if_enabled" + i + "=" + flag +
         "\n";
}

using NetInfo = Logged;

TEST_F(NetInfo, ListsWhatIsEnabledByIndexThePortBeforeTheBondAndNotMoreThanTwelve) {
  HA_NET_INFO list[13], before;
  memset(&before, '?', sizeof before);
  list[3] = list[12] = before;
  SetConf(Entry("ha_", 2) + Entry("ha_bond_", 1) + Entry("ha_", 0) + Entry("ha_", 3, "TRUE") +
          Entry("ha_bond_", 4, "true "));
  ASSERT_EQ(TAVOHAGetHANetinfo(list, 12), 3);
  EXPECT_STREQ(list[0].ifName, "ha_0");
  EXPECT_STREQ(list[1].ifName, "ha_bond_1");
  EXPECT_STREQ(list[1].ip, "10.0.0.1");
  EXPECT_STREQ(list[1].netmask, "255.0.0.1");
  EXPECT_STREQ(list[2].ifName, "ha_2");
  const HA_NET_INFO none{};
  EXPECT_EQ(memcmp(&list[3], &none, sizeof none), 0);

  std::string conf;
  for (int i = 0; i < 12; ++i) conf += Entry("ha_", i) + Entry("ha_bond_", i);
  SetConf(conf);
  ASSERT_EQ(TAVOHAGetHANetinfo(list, 12), 12);
  EXPECT_STREQ(list[11].ifName, "ha_bond_5");
  EXPECT_EQ(memcmp(&list[12], &before, sizeof before), 0);
  log.Take();
  EXPECT_EQ(Outcome(TAVOHAGetHANetinfo(nullptr, 12)), "-1 ERROR ha: Invalid argument");
  for (const int count : {11, 13}) {
    EXPECT_EQ(Outcome(TAVOHAGetHANetinfo(list, count)), "-1 ERROR ha: Invalid argument");
  }

  const std::string x(40, 'x');
  SetConf("ha_if0=" + x + "\nha_ip0=" + x + "\nha_netmask0=" + x +
          "\nha_if_enabled0=true\nha_bond_if_enabled0=true\n");
  const std::string error = "ERROR ha: Failed to get ", from = " from conf. ";
  std::string lines =
      error + "if" + from + "0.; " + error + "ip" + from + "0.; " + error + "if" + from + "0.";
  for (int i = 1; i < 12; ++i) {
    const std::string end = from + std::to_string(i) + ".";
    lines += "; " + error + "if" + end + "; " + error + "bond if" + end;
  }
  EXPECT_EQ(Outcome(TAVOHAGetHANetinfo(list, 12)), "2 " + lines) << "one has no texts";
  EXPECT_EQ(list[0].ifName, x.substr(0, 15));
  EXPECT_EQ(list[0].ip, x.substr(0, 19));
  EXPECT_EQ(list[0].netmask, x.substr(0, 19));
  EXPECT_STREQ(list[1].ifName, "");
}

TEST(AddressConflict, IsALineOfEitherListAndNothingElse) {
  const std::tuple<std::string, std::string, int> cases[] = {
      {"10.0.0.9\n10.0.0.1\n", "", 1},
      {"", "\n  \n\t 10.0.0.1 \r", 1},
      {"10.0.0.11\n", "110.0.0.1\n", 0},
      {"10.0.0.1 10.0.0.2\n", "", 0},
      {std::string(1023 - 8, ' ') + "10.0.0.1\n", "", 1},  // the longest line
      {std::string(1024 - 8, ' ') + "10.0.0.1\n", "", 0},
      {std::string(1023, 'x') + "10.0.0.1\n", "", 0},
      {std::string(70000, 'x') + "\n10.0.0.1\n", "", 1}};
  for (const auto& [local, remote, result] : cases) {
    SCOPED_TRACE(local + "/" + remote);
    WriteFile("/var/lib/ha/ip.local", local);
    WriteFile("/var/lib/ha/ip.remote", remote);
    SetRunning(true);
    EXPECT_EQ(TAVOHAIsHAIPConflict("10.0.0.1"), result);
    EXPECT_EQ(TAVOHAIsHAIPConflict(nullptr), 0);
    EXPECT_EQ(TAVOHAIsHAIPConflict(""), 0);
    SetRunning(false);
    EXPECT_EQ(TAVOHAIsHAIPConflict("10.0.0.1"), 0);
  }
}

}  // namespace
