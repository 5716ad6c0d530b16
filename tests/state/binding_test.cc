#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tavohacore/state.h>

#include "tests/support/appliance.h"

namespace {

using namespace test_support;

constexpr char kProgressFile[] = "/tmp/.ha.status";
constexpr char kPassiveMarker[] = "/tmp/.ha_passive_is_binding";

// The two kinds of progress behind one face.
struct Kind {
  std::string key, word;
  int (*get)(int*);
  int (*set)(int);
};
template <typename Progress, int (*kGet)(Progress*), int (*kSet)(Progress)>
Kind KindOf(const char* key, const char* word) {
  return {key, word,
          [](int* value) {
            Progress progress{99};
            const int result = kGet(&progress);
            *value = progress;
            return result;
          },
          [](int value) { return kSet(static_cast<Progress>(value)); }};
}
const Kind kKinds[] = {
    KindOf<_tag_BindingProgress, BindingProgressGet, BindingProgressSet>("BINDING", "binding"),
    KindOf<_tag_UnbindingProgress, UnbindingProgressGet, UnbindingProgressSet>("UNBINDING",
                                                                               "unbinding"),
};

TEST(BindingProgress, IsKeptAsANumberBesideOtherKeys) {
  for (const Kind& kind : kKinds) {
    WriteFile(kProgressFile, "OTHER=\"1\"\n");
    int read = 99;
    for (const int value : {3, -12, 2147483647}) {
      EXPECT_EQ(kind.set(value), 0);
      EXPECT_EQ(ReadFile(kProgressFile),
                "OTHER=\"1\"\n" + kind.key + "=\"" + std::to_string(value) + "\"\n");
      EXPECT_EQ(kind.get(&read), 0);
      EXPECT_EQ(read, value);
    }
    for (const auto& [text, value] : {std::pair("12x", 12), {"x", 0}, {"", 0}}) {
      WriteFile(kProgressFile, kind.key + "=\"" + text + "\"\n");
      EXPECT_EQ(kind.get(&read), 0);
      EXPECT_EQ(read, value);
    }
  }
}

TEST(BindingProgress, FailuresStoreZeroAndShowTheRecord) {
  LogCapture log;
  for (const Kind& kind : kKinds) {
    const auto line = [&](const std::string& what) {
      return testing::MatchesRegex("ERROR ha: Failed to " + what + " " + kind.word +
                                   " progress \\[0x[0-9A-F]{4} .*:[0-9]+\\]");
    };
    int value = 99;
    unlink(kProgressFile);
    EXPECT_EQ(kind.get(&value), -1);
    EXPECT_EQ(value, 0);
    EXPECT_THAT(TakeLines(log), line("get"));
    mkdir(kProgressFile, 0755);
    EXPECT_EQ(kind.set(3), -1);
    EXPECT_THAT(TakeLines(log), line("set"));
    rmdir(kProgressFile);
  }
}

TEST(IsBinding, FollowsTheMarkerThenTheProgress) {
  const struct {
    bool marker;
    int result;
    size_t log_lines;
    const char* progress;  // null: no file
  } cases[] = {
      {false, 0, 0, nullptr},
      {true, 1, 0, "BINDING=\"7\"\n"},
      {false, 0, 0, "BINDING=\"7\"\n"},
      {false, 1, 0, "BINDING=\"3\"\n"},
      {false, 0, 1, "UNBINDING=\"3\"\n"},
  };
  LogCapture log;
  for (const auto& [marker, result, log_lines, progress] : cases) {
    unlink(kPassiveMarker);
    unlink(kProgressFile);
    if (marker) WriteFile(kPassiveMarker, "");
    if (progress != nullptr) WriteFile(kProgressFile, progress);
    EXPECT_EQ(HAIsBinding(), result);
    EXPECT_EQ(log.Take().size(), log_lines);
  }
}

std::string Entry(const std::string& family, int index, const std::string& flag = "true") {
  const std::string i = std::to_string(index);
  return family + "if" + i + "=\"" + family + i + "\"\n" + family + "ip" + i + "=\"10.0.0." + i +
         "\"\n" + family + "netmask" + i + "=\"255.0.0." + i + "\"\n" + family + "if_enabled" + i +
         "=\"" + flag + "\"\n";
}

TEST(NetInfo, ListsWhatIsEnabledByIndexThePortBeforeTheBond) {
  SetConf(Entry("ha_", 2) + Entry("ha_bond_", 1) + Entry("ha_", 0) + Entry("ha_", 3, "TRUE") +
          Entry("ha_bond_", 4, "true "));
  HA_NET_INFO list[12];
  memset(list, '?', sizeof list);
  ASSERT_EQ(TAVOHAGetHANetinfo(list, 12), 3);
  EXPECT_STREQ(list[0].ifName, "ha_0");
  EXPECT_STREQ(list[1].ifName, "ha_bond_1");
  EXPECT_STREQ(list[1].ip, "10.0.0.1");
  EXPECT_STREQ(list[1].netmask, "255.0.0.1");
  EXPECT_STREQ(list[2].ifName, "ha_2");
  EXPECT_EQ(list[2].reserved, 0u);
  const HA_NET_INFO none{};
  EXPECT_EQ(memcmp(&list[3], &none, sizeof none), 0);
}

TEST(NetInfo, NothingIsWrittenBehindTheTwelfthRecord) {
  std::string conf;
  for (int i = 0; i < 12; ++i) conf += Entry("ha_", i) + Entry("ha_bond_", i);
  SetConf(conf);
  HA_NET_INFO list[13], before;
  memset(&before, '?', sizeof before);
  list[12] = before;
  ASSERT_EQ(TAVOHAGetHANetinfo(list, 12), 12);
  EXPECT_STREQ(list[11].ifName, "ha_bond_5");
  EXPECT_EQ(memcmp(&list[12], &before, sizeof before), 0);
  LogCapture log;
  EXPECT_EQ(TAVOHAGetHANetinfo(nullptr, 12), -1);
  EXPECT_EQ(TAVOHAGetHANetinfo(list, 11), -1);
  EXPECT_EQ(TAVOHAGetHANetinfo(list, 13), -1);
  EXPECT_EQ(TakeLines(log),
            "ERROR ha: Invalid argument; ERROR ha: Invalid argument; ERROR ha: Invalid argument");
}

TEST(NetInfo, CutsLongTextsAndCountsRecordsWithMissingOnes) {
  const std::string x(40, 'x');
  SetConf("ha_if0=\"" + x + "\"\nha_ip0=\"" + x + "\"\nha_netmask0=\"" + x +
          "\"\nha_if_enabled0=\"true\"\nha_bond_if_enabled0=\"true\"\n");
  LogCapture log;
  HA_NET_INFO list[12];
  ASSERT_EQ(TAVOHAGetHANetinfo(list, 12), 2);
  EXPECT_EQ(list[0].ifName, x.substr(0, 15));
  EXPECT_EQ(list[0].ip, x.substr(0, 19));
  EXPECT_EQ(list[0].netmask, x.substr(0, 19));
  EXPECT_STREQ(list[1].ifName, "");
  std::string lines =
      "ERROR ha: Failed to get if from conf. 0.; ERROR ha: Failed to get ip from conf. 0.; "
      "ERROR ha: Failed to get if from conf. 0.";
  for (int i = 1; i < 12; ++i) {
    const std::string end = " from conf. " + std::to_string(i) + ".";
    lines += "; ERROR ha: Failed to get if" + end + "; ERROR ha: Failed to get bond if" + end;
  }
  EXPECT_EQ(TakeLines(log), lines);
}

TEST(AddressConflict, IsALineOfEitherListAndNothingElse) {
  const struct {
    const char* name;
    std::string local, remote;
    int result;
  } cases[] = {
      {"this node's", "10.0.0.9\n10.0.0.1\n", "", 1},
      {"the peer's, in blanks, without line end", "", "\n  \n\t 10.0.0.1 \r", 1},
      {"the start of another", "10.0.0.11\n", "110.0.0.1\n", 0},
      {"two on a line", "10.0.0.1 10.0.0.2\n", "", 0},
      {"longest line", std::string(1023 - 8, ' ') + "10.0.0.1\n", "", 1},
      {"longer line", std::string(1024 - 8, ' ') + "10.0.0.1\n", "", 0},
      {"rest of a longer line", std::string(1023, 'x') + "10.0.0.1\n", "", 0},
      {"behind a longer line", std::string(70000, 'x') + "\n10.0.0.1\n", "", 1},
  };
  EXPECT_EQ(TAVOHAIsHAIPConflict("10.0.0.1"), 0) << "no lists";
  for (const auto& [name, local, remote, result] : cases) {
    SCOPED_TRACE(name);
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
