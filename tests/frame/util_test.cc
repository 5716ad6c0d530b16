#include <tavohacore/frame.h>

#include <optional>

#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

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

TEST(LocalHostname, PrefersSavedNamesToTheLiveOne) {
  const struct {
    const char* live;
    std::optional<std::string> saved, saved_for_good;  // none: no such file
    int result;
    std::string name;
  } cases[] = {{"node1.example", {}, {}, 1, "node1"},
               {"live", "saved", "good", 1, "saved"},
               {"live", "saved\nmore\n", {}, 1, "saved\n"},
               {"live", {}, "good", 1, "good"},
               {"live", "", "good", 1, "live"},
               {"live", std::string("\0x", 2), {}, 1, "live"},
               {"live", std::string(100, 's'), {}, 1, std::string(63, 's')},
               {"", {}, {}, 0, ""},
               {".example", "", {}, 0, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(sethostname(c.live, strlen(c.live)), 0);
    unlink(kSaved);
    unlink(kSavedForGood);
    if (c.saved) WriteFile(kSaved, *c.saved);
    if (c.saved_for_good) WriteFile(kSavedForGood, *c.saved_for_good);
    char name[64] = "before";
    EXPECT_EQ(GetLocalHostname(name), c.result);
    EXPECT_EQ(name, c.name);
    EXPECT_EQ(GetLocalHostname(), c.name);
  }
}

TEST(LocalHostname, ReportsWhyThereIsNoLiveName) {
  LogCapture log;
  EXPECT_EQ(GetLocalHostname(nullptr), -1);
  EXPECT_EQ(log.Take(), "ERROR util: Bad parameter.");
  EXPECT_EQ(HATAVOLnxGetHostname(nullptr), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
  ASSERT_EQ(sethostname(std::string(64, 'h').c_str(), 64), 0);  // one too many, with its end
  char name[64] = "before";
  EXPECT_EQ(HATAVOLnxGetHostname(name), -1);
  EXPECT_STREQ(name, "before");
  EXPECT_EQ(log.Take(), "");
  EXPECT_EQ(GetLocalHostname(), "");
  EXPECT_THAT(log.Take(), MatchesRegex("ERROR util: Failed to get hostname.\\[0x8100 "
                                       "ha_net_lnx_get_hostname:[0-9]+\\]; "
                                       "ERROR util: Failed to get hostname."));
  EXPECT_EQ(TAVLIBFileLock(0x105, 0), 0) << "the host-name lock stayed behind";
}

TEST(InterfaceName, IsTakenApart) {
  const struct {
    const char* name;
    int result, type, index;
  } cases[] = {{"eth0", 0, 0, 0},
               {"bond1", 0, 1, 1},
               {"ovs_eth12", 0, 2, 12},
               {"ovs_bond3", 0, 3, 3},
               {"eth123", 0, 0, 12},
               {"ethx", -1, 0, -7},
               {"ovs_bond_long9", -1, 3, -7},
               {"lo", -1, 4, -7},
               {"", -1, 4, -7},
               {"Eth0", -1, 4, -7}};
  LogCapture log;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TAVLIBErrSetEx(0, "", 0);
    HA_IF_NAME_INFO info{-7, -7};
    EXPECT_EQ(HAGetInterfaceTypeAndIndex(c.name, info), c.result);
    EXPECT_EQ(info.type, c.type);
    EXPECT_EQ(info.index, c.index);
    EXPECT_EQ(HAGetInterfaceType(c.name), c.type);
    if (c.type == 4) ExpectRecord(0xD900, "util");
    EXPECT_EQ(log.Take(), c.result == 0 || c.type == 4
                              ? ""
                              : std::string("ERROR util: Failed to get index from ") + c.name);
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

TEST(ProcessName, IsTheExecutableOrALoggedFailureAndOnlyTheTaskRunnerAtItsOwnPathCounts) {
  LogCapture log;
  char name[1024] = {}, little[5] = "....";
  EXPECT_EQ(HAProcNameGetByPid(getpid(), name, sizeof name), 0);
  EXPECT_THAT(name, EndsWith("/frame_test"));
  EXPECT_EQ(HAProcNameGetByPid(getpid(), little, 3), 0);
  EXPECT_EQ(std::string(little + 3), ".") << "written past the size given";
  EXPECT_EQ(HAProcNameGetByPid(-1, name, sizeof name), -1);
  EXPECT_EQ(log.Take(), "ERROR util: Failed to get file name: No such file or directory");
  EXPECT_EQ(AnswerUnder("/tmp/tavoschedtask"), 1);
  EXPECT_EQ(AnswerUnder("/tmp/tavoschedtask2"), 0);
  EXPECT_EQ(AnswerUnder("/usr/tavoschedtask"), 0);
}

TEST(RemoveFirstLine, MovesTheLineFromTheFileToTheBuffer) {
  const std::string long_line(100000, 'x');
  const struct {
    std::string before, line, after;
  } cases[] = {{"one\ntwo\nthree\n", "one\n", "two\nthree\n"},
               {"one", "one", ""},
               {"", "before", ""},
               {"longer than the buffer\nrest", "longer t", "rest"},
               {std::string("a\nb\0c\nno end", 12), "a\n", std::string("b\0c\nno end", 10)},
               {"a\n" + long_line + "\n" + long_line, "a\n", long_line + "\n" + long_line}};
  for (const auto& c : cases) {
    WriteFile("/var/lib/ha/list", c.before);
    char line[9] = "before";
    EXPECT_EQ(FileRemoveFirstLine("/var/lib/ha/list", line, sizeof line), 0);
    EXPECT_EQ(line, c.line);
    EXPECT_EQ(ReadFile("/var/lib/ha/list"), c.after);
  }
  struct stat file {};
  ASSERT_EQ(stat("/var/lib/ha/list", &file), 0);
  EXPECT_EQ(file.st_mode & 0777, 0600U);

  LogCapture log;
  char line[8] = "before";
  EXPECT_EQ(FileRemoveFirstLine("/x", nullptr, 8), -1);
  EXPECT_EQ(FileRemoveFirstLine("/x", line, 0), -1);
  EXPECT_EQ(FileRemoveFirstLine(nullptr, line, 8), -1);
  const std::string invalid = "ERROR ha: Invalid argument";
  EXPECT_EQ(log.Take(), invalid + "; " + invalid + "; " + invalid);
  TAVLIBErrSetEx(0, "", 0);
  EXPECT_EQ(FileRemoveFirstLine("/missing", line, 8), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0);
  EXPECT_EQ(FileRemoveFirstLine("/proc/self/maps", line, 8), -1);
  ExpectRecord(0x0900, "ha");  // no temporary file can be made there
  mkdir("/var/lib/ha/directory", 0755);
  EXPECT_EQ(FileRemoveFirstLine("/var/lib/ha/directory", line, 8), -1);
  ExpectRecord(0x0B00, "ha");  // a directory opens but does not read
  EXPECT_EQ(log.Take(), "");
  EXPECT_THAT(ListDirectory("/var/lib/ha"), ElementsAre("directory", "list"));
}

}  // namespace
