#include <tavohacore/frame.h>

#include <optional>

#include "platform/tavlib.h"
#include "tests/frame/logged.h"

namespace {

using namespace std::string_literals;
using namespace test_support;

constexpr char kSaved[] = "/tmp/.ha.hostname.original";
constexpr char kSavedForGood[] = "/var/lib/ha/ha.hostname.original";

void ExpectRecord(int code, const char* module) {
  EXPECT_EQ(TAVLIBErrGet(), code);
  EXPECT_STREQ(TAVLIBErrorGetFile(), module);
  EXPECT_GT(TAVLIBErrorGetLine(), 0);
}

TEST(Text, IsCutAtTheBufferOrAt4095Characters) {
  char buffer[4];
  EXPECT_EQ(HASnprintf(buffer, sizeof buffer, "%s", "abc"), 3);
  EXPECT_EQ(HASnprintf(buffer, sizeof buffer, "%s", "abcd"), -1);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(HASnprintf(nullptr, 0, "%s", ""), -1);
  EXPECT_EQ(FormattedString("%u-%s", 4294967295U, "x"), "4294967295-x");
  EXPECT_EQ(FormattedString("%s", std::string(4096, 'a').c_str()), std::string(4095, 'a'));
}

using LocalHostname = Logged;

TEST_F(LocalHostname, PrefersSavedNamesToTheLiveOne) {
  using File = std::optional<std::string>;  // none: no such file
  const std::tuple<std::string, File, File, int, std::string> cases[] = {
      {"node1.example", {}, {}, 1, "node1"},
      {"live", "saved", "good", 1, "saved"},
      {"live", "saved\nmore\n", {}, 1, "saved\n"},
      {"live", {}, "good", 1, "good"},
      {"live", "", "good", 1, "live"},
      {"live", "\0x"s, {}, 1, "live"},
      {"live", std::string(100, 's'), {}, 1, std::string(63, 's')},
      {".example", "", {}, 0, ""}};
  for (const auto& [live, saved, saved_for_good, result, expected] : cases) {
    ASSERT_EQ(sethostname(live.c_str(), live.size()), 0);
    unlink(kSaved);
    unlink(kSavedForGood);
    if (saved) WriteFile(kSaved, *saved);
    if (saved_for_good) WriteFile(kSavedForGood, *saved_for_good);
    char name[64] = "before";
    EXPECT_EQ(GetLocalHostname(name), result);
    EXPECT_EQ(name, expected);
    EXPECT_EQ(GetLocalHostname(), expected);
  }
}

TEST_F(LocalHostname, ReportsWhyThereIsNoLiveName) {
  EXPECT_EQ(Outcome(GetLocalHostname(nullptr)), "-1 ERROR util: Bad parameter.");
  EXPECT_EQ(Outcome(HATAVOLnxGetHostname(nullptr)), "-1");
  ExpectRecord(0x0D00, "ha_net_lnx_get_hostname");
  ASSERT_EQ(sethostname(std::string(64, 'h').c_str(), 64), 0);  // one too many, with its end
  char name[64] = "before";
  EXPECT_EQ(Outcome(HATAVOLnxGetHostname(name)), "-1");
  EXPECT_STREQ(name, "before");
  EXPECT_EQ(GetLocalHostname(), "");
  EXPECT_THAT(log.Take(), MatchesRegex("ERROR util: Failed to get hostname.\\[0x8100 "
                                       "ha_net_lnx_get_hostname:[0-9]+\\]; "
                                       "ERROR util: Failed to get hostname."));
  EXPECT_EQ(TAVLIBFileLock(0x105, 0), 0) << "the host-name lock stayed behind";
}

using InterfaceName = Logged;

TEST_F(InterfaceName, IsTakenApart) {
  const std::tuple<std::string, int, int, int> cases[] = {
      {"eth0", 0, 0, 0},      {"bond1", 0, 1, 1},   {"ovs_eth12", 0, 2, 12},
      {"ovs_bond3", 0, 3, 3}, {"eth123", 0, 0, 12}, {"ethx", -1, 0, -7},
      {"Eth0", -1, 4, -7},    {"", -1, 4, -7},      {"ovs_bond_long9", -1, 3, -7}};
  for (const auto& [name, result, type, index] : cases) {
    HA_IF_NAME_INFO info{-7, -7};
    EXPECT_EQ(Outcome(HAGetInterfaceTypeAndIndex(name.c_str(), info)),
              result == 0 ? "0"
              : type == 4 ? "-1"
                          : "-1 ERROR util: Failed to get index from " + name);
    EXPECT_EQ(info.type, type) << name;
    EXPECT_EQ(info.index, index) << name;
    EXPECT_EQ(HAGetInterfaceType(name.c_str()), type);
    if (type == 4) ExpectRecord(0xD900, "util");
  }
  HA_IF_NAME_INFO info{-7, -7};
  EXPECT_EQ(HAGetInterfaceTypeAndIndex(nullptr, info), -1);
  ExpectRecord(0x0D00, "util");
  EXPECT_EQ(HAGetInterfaceType(nullptr), 4);
}

// Copies a shell to `parent` and returns what the library answers in a child of it.
int AnswerUnder(const std::string& parent) {
  return Shell("cp /bin/sh " + parent + " && " + parent + " -c '" RUN_BY_TASK_RUNNER "; exit $?'")
      .status;
}

using ProcessName = Logged;

TEST_F(ProcessName, IsTheExecutableOrALoggedFailureAndOnlyTheTaskRunnerAtItsOwnPathCounts) {
  char name[1024] = {}, little[5] = "....";
  EXPECT_EQ(HAProcNameGetByPid(getpid(), name, sizeof name), 0);
  EXPECT_THAT(name, EndsWith("/frame_test"));
  EXPECT_EQ(HAProcNameGetByPid(getpid(), little, 3), 0);
  EXPECT_EQ(std::string(little + 3), ".") << "written past the size given";
  EXPECT_EQ(Outcome(HAProcNameGetByPid(-1, name, sizeof name)),
            "-1 ERROR util: Failed to get file name: No such file or directory");
  EXPECT_EQ(AnswerUnder("/tmp/tavoschedtask"), 1);
  EXPECT_EQ(AnswerUnder("/tmp/tavoschedtask2"), 0);
  EXPECT_EQ(AnswerUnder("/usr/tavoschedtask"), 0);
}

using RemoveFirstLine = Logged;

TEST_F(RemoveFirstLine, MovesTheLineFromTheFileToTheBuffer) {
  const std::string rest = std::string(100000, 'x') + "\nb\0c\nno end"s;
  for (const auto& [before, removed, after] :
       {std::tuple("a\n" + rest, "a\n", rest),
        {"one", "one", ""},
        {"", "before", ""},
        {"longer than the buffer\nrest", "longer t", "rest"}}) {
    WriteFile("/var/lib/ha/list", before);
    char line[9] = "before";
    EXPECT_EQ(FileRemoveFirstLine("/var/lib/ha/list", line, sizeof line), 0);
    EXPECT_STREQ(line, removed);
    EXPECT_EQ(ReadFile("/var/lib/ha/list"), after);
  }
  EXPECT_EQ(Shell("stat -c %a /var/lib/ha/list").output, "600\n");

  char line[8] = "before";
  EXPECT_EQ(Outcome(FileRemoveFirstLine("/x", nullptr, 8)), "-1 ERROR ha: Invalid argument");
  EXPECT_EQ(Outcome(FileRemoveFirstLine("/x", line, 0)), "-1 ERROR ha: Invalid argument");
  EXPECT_EQ(Outcome(FileRemoveFirstLine(nullptr, line, 8)), "-1 ERROR ha: Invalid argument");
  TAVLIBErrSetEx(0, "", 0);
  EXPECT_EQ(Outcome(FileRemoveFirstLine("/missing", line, 8)), "-1");
  EXPECT_EQ(TAVLIBErrGet(), 0);
  EXPECT_EQ(Outcome(FileRemoveFirstLine("/proc/self/maps", line, 8)), "-1");
  ExpectRecord(0x0900, "ha");  // no temporary file can be made there
  EXPECT_EQ(Outcome(FileRemoveFirstLine("/var/lib", line, 8)), "-1");
  ExpectRecord(0x0B00, "ha");  // a directory opens but does not read
}

}  // namespace
