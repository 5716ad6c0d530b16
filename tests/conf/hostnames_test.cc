#include <tavohacore/conf.h>

#include "platform/tavlib.h"
#include "tests/frame/logged.h"

namespace {

using namespace test_support;

constexpr char kBothNodes[] =
    "host0=\"nas-a\"\nhost1=\"nas-b\"\nha_hostname=\"cluster\"\ndrbd_if=\"eth3\"\n";

using OriginalHostname = Logged;

TEST_F(OriginalHostname, IsTheRecordedOneWhileHaRunsAndElseTheKernelsShortOne) {
  for (const auto& [running, live, local, remote] : {std::tuple(true, "x", "nas-a", "nas-b"),
                                                     {false, "nas-x.example.org", "nas-x", "nas-x"},
                                                     {false, ".example.org", "", ""}}) {
    SetRunning(running);
    SetConf(kBothNodes);
    WriteFile("/tmp/.ha.hostname.original", "nas-a");
    ASSERT_EQ(sethostname(live, strlen(live)), 0);
    char name[64] = "unset";
    EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, 2), 0);
    EXPECT_STREQ(name, local);
    EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, 0), 0);
    EXPECT_STREQ(name, remote);
  }
}

TEST_F(OriginalHostname, EveryFailureSaysWhyAndLeavesTheBuffer) {
  char name[64] = "as it was";
  SetRunning(false);
  EXPECT_EQ(Outcome(TAVOHAGetOriginalHostname(name, 63, 1)), "-1 ERROR conf: Invalid argument");
  EXPECT_THAT(Outcome(TAVOHAGetOriginalHostname(nullptr, 64, 1)),
              StartsWith("-1 ERROR conf: Failed to get hostname.[0x0D00 "));
  ASSERT_EQ(TAVLIBFileLock(0x105, 5), 0);
  EXPECT_THAT(Outcome(TAVOHAGetOriginalHostname(name, sizeof name, 1)),
              MatchesRegex("-1 ERROR conf: Failed to get hostname\\.\\[0x0400 "
                           "ha_net_lnx_get_hostname:[0-9]+\\]"));
  SetRunning(true);
  SetConf("");
  EXPECT_THAT(Outcome(TAVOHAGetOriginalHostname(name, sizeof name, 1)),
              AllOf(StartsWith("-1 "), EndsWith("; ERROR conf: Failed to get host from conf.")));
  EXPECT_STREQ(name, "as it was");
}

using ConfiguredNames = Logged;

TEST_F(ConfiguredNames, AreReadCutToTheBufferAndFailWithTheirOwnLine) {
  const struct {
    int (*get)(char*, int);
    const char *text, *cut, *failure;
  } cases[] = {
      {[](char* text, int size) { return TAVOHAGetHAHostname(text, static_cast<unsigned>(size)); },
       "cluster", "clu", "-1 ERROR conf: Failed to get host from conf."},
      {HAGetHeartbeatIF, "eth3", "eth", "-1 ERROR conf: Failed to get heartbeat interface."},
      {TAVOHAGetHeartbeatIF, "eth3", "eth", "-1 ERROR conf: Failed to get heartbeat interface."}};
  for (const auto& [get, text, cut, failure] : cases) {
    SetConf(kBothNodes);
    char buffer[64];
    EXPECT_EQ(get(buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, text);
    EXPECT_EQ(Outcome(get(buffer, 4)), "0");
    EXPECT_STREQ(buffer, cut);
    EXPECT_EQ(Outcome(get(nullptr, 64)), "-1 ERROR conf: Invalid argument");
    EXPECT_EQ(Outcome(get(buffer, 0)), "-1 ERROR conf: Invalid argument");
    SetConf("");
    EXPECT_EQ(Outcome(get(buffer, sizeof buffer)), failure);
    EXPECT_STREQ(buffer, cut);
  }
  EXPECT_EQ(Outcome(TAVOHASetHAHostname("renamed")), "0");
  EXPECT_EQ(ReadFile(kConfFile), "ha_hostname=\"renamed\"\n");
  EXPECT_EQ(Outcome(TAVOHASetHAHostname(nullptr)), "-1 ERROR conf: Invalid argument");
  EXPECT_EQ(Outcome(TAVOHASetHAHostname("two\nlines")),
            "-1 ERROR conf: Failed to set key: ha_hostname; "
            "ERROR conf: Failed to set host to conf");
}

}  // namespace
