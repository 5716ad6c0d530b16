#include <gmock/gmock.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "tests/support/files.h"
#include "tests/tavohactl/run.h"

namespace test_support {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kConfFile[] = "/usr/tavo/tavoha/etc/ha.conf";

TEST(CtlConf, EveryNameReachesTheKeyOfThatName) {
  WriteFile(kConfFile, "host0=\"nas-a\"\n");
  const json keys = json::parse(Tavohactl("conf keys --json").output)["keys"];
  ASSERT_EQ(keys.size(), 44U);
  json expected = {{"host0", "nas-a"}};
  for (const json& row : keys) {
    const std::string name = row["key"], value = "value of " + name;
    if (name == "host0" || name == "host_local") continue;  // they say which node this is
    const std::string index = row["indexed"] ? "11" : "";
    EXPECT_EQ(Tavohactl("conf set " + name + " " + index + " '" + value + "'").status, 0) << name;
    // This node is host0. A name for two keys is that of the one with "local" or "remote" for the
    // "0" or "1": "mac_remote_11" stands for "mac1_11".
    std::string key = name + index;
    for (const auto& [word, number] : {std::pair("_local", "0"), std::pair("_remote", "1")}) {
      if (const size_t at = key.find(word); at != key.npos) key.replace(at, strlen(word), number);
    }
    expected[key] = value;
    EXPECT_THAT(ReadFile(kConfFile), HasSubstr("\n" + key + "=\"" + value + "\"\n"));
  }
  const json list = json::parse(Tavohactl("conf list --json").output);
  json listed;
  for (const json& row : list["values"]) {
    listed[row["key"].get<std::string>()] = row["value"];
  }
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(Tavohactl("conf get mac_local_ 11").output, "value of mac_local_\n");
  EXPECT_EQ(Tavohactl("conf get ip_remote").output, "value of ip_remote\n");
}

TEST(CtlConf, ValuesComeBackAsTheyWereGiven) {
  WriteFile(kConfFile, "");
  struct {
    const char* argument;
    const char* value;
  } const cases[] = {
      {"''", ""}, {"' a  b '", " a  b "}, {"-- --x=1", "--x=1"}, {"'ä=\"#'", "ä=\"#"}};
  for (const auto& [argument, value] : cases) {
    SCOPED_TRACE(argument);
    EXPECT_EQ(Tavohactl("conf set model0 " + std::string(argument)).status, 0);
    EXPECT_EQ(Tavohactl("conf get model0").output, value + std::string("\n"));
    EXPECT_EQ(json::parse(Tavohactl("conf get model0 --json").output),
              json({{"key", "model0"}, {"value", value}}));
  }
}

TEST(CtlConf, ListHoldsWhatIsSetAndNothingElse) {
  WriteFile(kConfFile, "ha_ip3=\"10.0.0.3\"\nstranger=\"1\"\nhost0=\"nas-a\"\n");
  EXPECT_EQ(Tavohactl("conf list").output,
            "KEY     VALUE\n"
            "host0   nas-a\n"
            "ha_ip3  10.0.0.3\n");
  EXPECT_EQ(json::parse(Tavohactl("--json conf list").output),
            json::parse(R"({"values": [{"key": "host0", "value": "nas-a"},
                                       {"key": "ha_ip3", "value": "10.0.0.3"}]})"));
}

TEST(CtlConf, WhatCannotBeDoneSaysWhereToLook) {
  struct {
    const char* command_line;
    const char* error;
  } const cases[] = {
      {"conf get ha_sn", "ha_sn has no value, or it cannot be read"},
      {"conf get host_remote", "host_remote has no value"},
      {"conf set host0 'a\nb'", "host0 could not be set"},
      {"conf list", "ha.conf holds no value, or it cannot be read"},
  };
  for (const auto& [command_line, error] : cases) {
    SCOPED_TRACE(command_line);
    const Outcome outcome = Tavohactl(std::string("--json ") + command_line);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.error, HasSubstr(error));
    EXPECT_THAT(outcome.error, HasSubstr("see the system log, lines with [HA-ERROR]"));
    EXPECT_EQ("tavohactl: " + json::parse(outcome.output)["error"].get<std::string>() + "\n",
              outcome.error);
    EXPECT_THAT(Tavohactl(command_line).output, IsEmpty());
  }
}

}  // namespace
}  // namespace test_support
