#include <tavohacore/conf.h>

#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr char kBothNodes[] =
    "host0=\"nas-a\"\nhost1=\"nas-b\"\nha_hostname=\"cluster\"\ndrbd_if=\"eth3\"\n";

TEST(OriginalHostname, IsTheRecordedOneWhileHaRunsAndElseTheKernelsShortOne) {
  const struct {
    bool running;
    const char *saved, *live, *local, *remote;
  } cases[] = {{true, "nas-a", "x", "nas-a", "nas-b"},
               {true, "nas-b", "x", "nas-b", "nas-a"},
               {false, "nas-a", "nas-x.example.org", "nas-x", "nas-x"},
               {false, "nas-a", ".example.org", "", ""}};
  for (const auto& [running, saved, live, local, remote] : cases) {
    SetRunning(running);
    SetConf(kBothNodes);
    WriteFile("/tmp/.ha.hostname.original", saved);
    ASSERT_EQ(sethostname(live, strlen(live)), 0);
    char name[64] = "unset";
    EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, 2), 0);
    EXPECT_STREQ(name, local);
    EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, 0), 0);
    EXPECT_STREQ(name, remote);
  }
}

TEST(OriginalHostname, EveryFailureSaysWhyAndLeavesTheBuffer) {
  LogCapture log;
  char name[64] = "as it was";
  SetRunning(false);
  EXPECT_EQ(TAVOHAGetOriginalHostname(name, 63, 1), -1);
  EXPECT_EQ(log.Take(), "ERROR conf: Invalid argument");
  ASSERT_EQ(TAVLIBFileLock(0x105, 5), 0);
  EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, 1), -1);
  EXPECT_THAT(log.Take(), MatchesRegex("ERROR conf: Failed to get hostname\\.\\[0x0400 "
                                       "ha_net_lnx_get_hostname:[0-9]+\\]"));
  SetRunning(true);
  SetConf("");
  EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, 1), -1);
  EXPECT_THAT(log.Take(), EndsWith("; ERROR conf: Failed to get host from conf."));
  EXPECT_STREQ(name, "as it was");
}

TEST(ConfiguredNames, AreReadCutToTheBufferAndFailWithTheirOwnLine) {
  const struct {
    int (*get)(char*, int);
    const char *text, *cut, *failure;
  } cases[] = {
      {[](char* text, int size) { return TAVOHAGetHAHostname(text, static_cast<unsigned>(size)); },
       "cluster", "clu", "ERROR conf: Failed to get host from conf."},
      {HAGetHeartbeatIF, "eth3", "eth", "ERROR conf: Failed to get heartbeat interface."},
      {TAVOHAGetHeartbeatIF, "eth3", "eth", "ERROR conf: Failed to get heartbeat interface."}};
  LogCapture log;
  for (const auto& [get, text, cut, failure] : cases) {
    SetConf(kBothNodes);
    char buffer[64];
    EXPECT_EQ(get(buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, text);
    EXPECT_EQ(get(buffer, 4), 0);
    EXPECT_STREQ(buffer, cut);
    EXPECT_EQ(log.Take(), "");
    EXPECT_EQ(get(nullptr, 64), -1);
    EXPECT_EQ(get(buffer, 0), -1);
    EXPECT_EQ(log.Take(), "ERROR conf: Invalid argument; ERROR conf: Invalid argument");
    SetConf("");
    EXPECT_EQ(get(buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, cut);
    EXPECT_EQ(log.Take(), failure);
  }
  SetConf("");
  EXPECT_EQ(TAVOHASetHAHostname("renamed"), 0);
  EXPECT_EQ(ReadFile(kConfFile), "ha_hostname=\"renamed\"\n");
  EXPECT_EQ(TAVOHASetHAHostname(nullptr), -1);
  EXPECT_EQ(TAVOHASetHAHostname("two\nlines"), -1);
  EXPECT_EQ(log.Take(),
            "ERROR conf: Invalid argument; ERROR conf: Failed to set key: ha_hostname; "
            "ERROR conf: Failed to set host to conf");
}

}  // namespace
