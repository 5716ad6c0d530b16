#include "tests/tavohactl/run.h"

namespace {

using namespace test_support;

TEST(CtlConf, EveryNameReachesTheKeyOfThatName) {
  WriteFile(kConfFile, "host0=\"nas-a\"\n");
  const json keys = TavohactlJson("conf keys")["keys"];
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
  const json list = TavohactlJson("conf list");
  json listed;
  for (const json& row : list["values"]) listed[row["key"].get<std::string>()] = row["value"];
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(Tavohactl("conf get mac_local_ 11").output, "value of mac_local_\n");
}

TEST(CtlConf, ValuesComeBackAsTheyWereGivenAndFailuresSayWhereToLook) {
  const std::string set = ">/dev/null " TAVOHACTL_PROGRAM " conf set model0 ";
  const std::string look = "; see the system log, lines with [HA-ERROR]",
                    table = "KEY     VALUE\nhost0   nas-a\nha_ip3  10.0.0.3\n";
  ExpectOutcomes(
      {{"", "conf list", 1, "", "ha.conf holds no value, or it cannot be read" + look},
       {"", "conf get ha_sn", 1, "", "ha_sn has no value, or it cannot be read" + look}});
  WriteFile(kConfFile, "ha_ip3=\"10.0.0.3\"\nstranger=\"1\"\nhost0=\"nas-a\"\n");
  ExpectOutcomes({{"", "conf list", 0, table, ""},
                  {set + "''", "conf get model0", 0, "\n", ""},
                  {set + "' a  b '", "conf get model0", 0, " a  b \n", ""},
                  {set + "-- --x=1", "conf get model0", 0, "--x=1\n", ""},
                  {set + "'ä=\"#'", "conf get model0", 0, "ä=\"#\n", ""},
                  {"", "conf get host_remote", 1, "", "host_remote has no value"},
                  {"", "conf set host0 'a\nb'", 1, "", "host0 could not be set" + look},
                  {"", "conf get model0 --json", 0,
                   "{\n  \"key\": \"model0\",\n  \"value\": \"ä=\\\"#\"\n}\n", ""}});
  const Outcome failed = Tavohactl("--json conf get ha_sn");
  EXPECT_EQ("tavohactl: " + json::parse(failed.output)["error"].get<std::string>() + "\n",
            failed.error);
}

TEST(CtlStatus, ShowsEachMarkerAndANodeWithoutHa) {
  const json off = TavohactlJson("status");
  EXPECT_EQ(off["running"], false);
  EXPECT_EQ(off["nodes"][0]["status"], "standalone");
  EXPECT_EQ(off["nodes"][1]["status"], "none");
  StartHa();
  for (const auto& [file, member] : {std::pair("/tmp/ha_role_active", "active"),
                                     {"/var/lib/ha/ha.safemode.info", "safe_mode"},
                                     {"/var/lib/ha/ha.upg", "upgrading"}}) {
    EXPECT_EQ(TavohactlJson("status")[member], false);
    WriteFile(file, "");
    EXPECT_EQ(TavohactlJson("status")[member], true) << member;
  }
}

TEST(CtlUsage, AMistakeIsNamedWithTheNearestRightWord) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "a command is missing: status, role, watch, node, "},
      {"stauts", "no such command: stauts; did you mean \"status\"?\nTry: tavohactl --help\n"},
      {"conf gte host0", "conf: no such command: gte; did you mean \"get\"?"},
      {"conf get", "get: KEY is required\nTry: tavohactl conf get --help\n"},
      {"conf get host0 1 2", "get: there is no place for \"2\""},
      {"conf get host0 --jsno", "no such option: --jsno; did you mean \"--json\"?"},
      {"conf get hots0", "ha.conf has no key \"hots0\"; did you mean \"host0\"?"},
      {"conf get mac_loacl_3", "did you mean \"mac_local_\"?"},
      {"conf get host0 1", "host0 has no index"},
      {"conf get ha_ip", "say which one, ha_ip 0 to ha_ip 11"},
      {"conf get ha_ip 12", "\"12\" is no index of ha_ip"},
      {"conf get ha_ip 1x", "\"1x\" is no index of ha_ip"},
      {"conf set host0", "VALUE is missing"},
      {"conf set ha_ip 10.1.1.5", "say which one"}};
  WriteFile(kConfFile, "host0=\"nas-a\"\n");
  for (const auto& [command_line, error] : cases) {
    SCOPED_TRACE(command_line);
    const Outcome outcome = Tavohactl(command_line);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.error, StartsWith("tavohactl: "));
    EXPECT_THAT(outcome.error, HasSubstr(error));
  }
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"nas-a\"\n");
}

TEST(CtlUsage, AnAnswerThatCannotBeWrittenIsAFailure) {
  EXPECT_EQ(Tavohactl("conf keys >/dev/full").status, 1);
}

}  // namespace
