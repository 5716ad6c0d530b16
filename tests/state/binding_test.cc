#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tavohacore/state.h>

#include <cstring>

#include "tests/support/appliance.h"
#include "tests/support/log_capture.h"

namespace {

using namespace test_support;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr char kProgressFile[] = "/tmp/.ha.status";
constexpr char kPassiveMarker[] = "/tmp/.ha_passive_is_binding";

// The two kinds of progress behind one face.
struct Kind {
  const char* key;
  const char* word;
  int (*get)(int*);
  int (*set)(int);
};
template <typename Progress, int (*kGet)(Progress*), int (*kSet)(Progress)>
constexpr Kind KindOf(const char* key, const char* word) {
  return {key, word,
          [](int* value) {
            Progress progress{99};
            const int result = kGet(&progress);
            *value = progress;
            return result;
          },
          [](int value) { return kSet(static_cast<Progress>(value)); }};
}
constexpr Kind kKinds[] = {
    KindOf<_tag_BindingProgress, BindingProgressGet, BindingProgressSet>("BINDING", "binding"),
    KindOf<_tag_UnbindingProgress, UnbindingProgressGet, UnbindingProgressSet>("UNBINDING",
                                                                               "unbinding"),
};

TEST(BindingProgress, IsKeptAsANumberBesideTheOtherKind) {
  for (const Kind& kind : kKinds) {
    WriteFile(kProgressFile, "OTHER=\"1\"\n");
    for (const int value : {0, 3, 7, -12, 2147483647}) {
      EXPECT_EQ(kind.set(value), 0);
      EXPECT_EQ(ReadFile(kProgressFile),
                "OTHER=\"1\"\n" + std::string(kind.key) + "=\"" + std::to_string(value) + "\"\n");
      int read = 99;
      EXPECT_EQ(kind.get(&read), 0);
      EXPECT_EQ(read, value);
    }
    for (const auto& [text, value] : {std::pair("12x", 12), {"x", 0}, {"", 0}, {" 8", 8}}) {
      WriteFile(kProgressFile, kind.key + std::string("=\"") + text + "\"\n");
      int read = 99;
      EXPECT_EQ(kind.get(&read), 0);
      EXPECT_EQ(read, value);
    }
  }
}

TEST(BindingProgress, FailuresStoreZeroAndShowTheRecord) {
  LogCapture log;
  for (const Kind& kind : kKinds) {
    const auto line = [&](const char* what) {
      return Logged("ERROR", "ha",
                    MatchesRegex(std::string("Failed to ") + what + " " + kind.word +
                                 " progress \\[0x[0-9A-F]{4} .*:[0-9]+\\]"));
    };
    int value = 99;
    unlink(kProgressFile);
    EXPECT_EQ(kind.get(&value), -1);
    EXPECT_EQ(value, 0);
    EXPECT_THAT(log.Take(), ElementsAre(line("get")));
    mkdir(kProgressFile, 0755);
    EXPECT_EQ(kind.set(3), -1);
    EXPECT_THAT(log.Take(), ElementsAre(line("set")));
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
      {true, 1, 0, nullptr},
      {true, 1, 0, "BINDING=\"7\"\n"},
      {false, 0, 0, "BINDING=\"7\"\n"},
      {false, 1, 0, "BINDING=\"3\"\n"},
      {false, 1, 0, "BINDING=\"x\"\n"},
      {false, 0, 1, "UNBINDING=\"3\"\n"},
  };
  LogCapture log;
  for (const auto& [marker, result, log_lines, progress] : cases) {
    SCOPED_TRACE(progress == nullptr ? "no file" : progress);
    unlink(kPassiveMarker);
    unlink(kProgressFile);
    if (marker) WriteFile(kPassiveMarker, "");
    if (progress != nullptr) WriteFile(kProgressFile, progress);
    EXPECT_EQ(HAIsBinding(), result);
    EXPECT_EQ(log.Take().size(), log_lines);
  }
}

std::string ConfOf(const std::string& family, int index, const std::string& flag = "true") {
  const std::string i = std::to_string(index);
  return family + "if" + i + "=\"" + family + i + "\"\n" + family + "ip" + i + "=\"10.0.0." + i +
         "\"\n" + family + "netmask" + i + "=\"255.0.0." + i + "\"\n" + family + "if_enabled" + i +
         "=\"" + flag + "\"\n";
}

// One record more than the caller's array, to see what is written behind it.
struct NetInfo : testing::Test {
  NetInfo() { memset(list, '?', sizeof list); }
  int Get() {
    const int result = TAVOHAGetHANetinfo(list, 12);
    for (const char* byte = reinterpret_cast<char*>(list + 12); byte < std::end(list)->ifName;
         ++byte) {
      EXPECT_EQ(*byte, '?') << "written behind the 12th record";
    }
    return result;
  }
  HA_NET_INFO list[13];
};

TEST_F(NetInfo, ListsWhatIsEnabledByIndexThePortBeforeTheBond) {
  std::string conf = ConfOf("ha_", 2) + ConfOf("ha_bond_", 1) + ConfOf("ha_", 0) +
                     ConfOf("ha_", 3, "TRUE") + ConfOf("ha_bond_", 4, "true ");
  SetConf(conf);
  ASSERT_EQ(Get(), 3);
  EXPECT_STREQ(list[0].ifName, "ha_0");
  EXPECT_STREQ(list[1].ifName, "ha_bond_1");
  EXPECT_STREQ(list[1].ip, "10.0.0.1");
  EXPECT_STREQ(list[1].netmask, "255.0.0.1");
  EXPECT_STREQ(list[2].ifName, "ha_2");
  const HA_NET_INFO none{};
  EXPECT_EQ(memcmp(&list[3], &none, sizeof none), 0);
  EXPECT_EQ(list[2].reserved, 0u);
}

TEST_F(NetInfo, StopsAtTwelveRecords) {
  std::string conf;
  for (int i = 0; i < 12; ++i) conf += ConfOf("ha_", i) + ConfOf("ha_bond_", i);
  SetConf(conf);
  ASSERT_EQ(Get(), 12);
  EXPECT_STREQ(list[11].ifName, "ha_bond_5");
}

TEST_F(NetInfo, CutsLongTextsAndCountsRecordsWithMissingOnes) {
  const std::string longer(40, 'x');
  SetConf("ha_if0=\"" + longer + "\"\nha_ip0=\"" + longer + "\"\nha_netmask0=\"" + longer +
          "\"\nha_if_enabled0=\"true\"\nha_bond_if_enabled0=\"true\"\n");
  LogCapture log;
  ASSERT_EQ(Get(), 2);
  EXPECT_EQ(list[0].ifName, longer.substr(0, 15));
  EXPECT_EQ(list[0].ip, longer.substr(0, 19));
  EXPECT_EQ(list[0].netmask, longer.substr(0, 19));
  std::vector<LogLine> lines = log.Take();
  ASSERT_EQ(lines.size(), 3 + 22u);
  EXPECT_THAT(lines[3], Logged("ERROR", "ha", "Failed to get if from conf. 1."));
  EXPECT_THAT(lines[4], Logged("ERROR", "ha", "Failed to get bond if from conf. 1."));
  lines.resize(3);
  EXPECT_THAT(lines, ElementsAre(Logged("ERROR", "ha", "Failed to get if from conf. 0."),
                                 Logged("ERROR", "ha", "Failed to get ip from conf. 0."),
                                 Logged("ERROR", "ha", "Failed to get if from conf. 0.")));
  EXPECT_STREQ(list[1].ifName, "");
}

TEST_F(NetInfo, TakesExactlyTwelveRecords) {
  LogCapture log;
  EXPECT_EQ(TAVOHAGetHANetinfo(nullptr, 12), -1);
  EXPECT_EQ(TAVOHAGetHANetinfo(list, 11), -1);
  EXPECT_EQ(TAVOHAGetHANetinfo(list, 13), -1);
  EXPECT_THAT(log.Take(), testing::AllOf(testing::SizeIs(3),
                                         testing::Each(Logged("ERROR", "ha", "Invalid argument"))));
  EXPECT_EQ(list[0].ifName[0], '?');
}

TEST(AddressConflict, IsALineOfEitherListAndNothingElse) {
  const std::string longest(1023 - 8, ' '), too_long(1024 - 8, ' ');
  const struct {
    const char* name;
    std::string local, remote;
    int result;
  } cases[] = {
      {"this node's", "10.0.0.9\n10.0.0.1\n", "", 1},
      {"the peer's, in blanks, without line end", "", "\n  \n\t 10.0.0.1 \r", 1},
      {"the start of another", "10.0.0.11\n", "110.0.0.1\n", 0},
      {"two on a line", "10.0.0.1 10.0.0.2\n", "", 0},
      {"longest line", longest + "10.0.0.1\n", "", 1},
      {"longer line", too_long + "10.0.0.1\n", "", 0},
      {"rest of a longer line", std::string(1023, 'x') + "10.0.0.1\n", "", 0},
      {"behind a longer line", std::string(70000, 'x') + "\n10.0.0.1\n", "", 1},
  };
  for (const auto& [name, local, remote, result] : cases) {
    SCOPED_TRACE(name);
    WriteFile("/var/lib/ha/ip.local", local);
    WriteFile("/var/lib/ha/ip.remote", remote);
    SetRunning(true);
    EXPECT_EQ(TAVOHAIsHAIPConflict("10.0.0.1"), result);
    SetRunning(false);
    EXPECT_EQ(TAVOHAIsHAIPConflict("10.0.0.1"), 0);
  }
  SetRunning(true);
  EXPECT_EQ(TAVOHAIsHAIPConflict(nullptr), 0);
  EXPECT_EQ(TAVOHAIsHAIPConflict(""), 0);
  unlink("/var/lib/ha/ip.local");
  EXPECT_EQ(TAVOHAIsHAIPConflict("10.0.0.1"), 0);
}

}  // namespace
