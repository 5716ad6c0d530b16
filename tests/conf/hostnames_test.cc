#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavohacore/conf.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "platform/tavlib.h"
#include "tests/support/appliance.h"
#include "tests/support/log_capture.h"

namespace {

using namespace test_support;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr char kConf[] =
    "host0=\"nas-a\"\nhost1=\"nas-b\"\nha_hostname=\"cluster\"\ndrbd_if=\"eth3\"\n";

TEST(OriginalHostname, WhileHaRunsIsTheRecordedOneOfTheNodeAskedFor) {
  SetRunning(true);
  for (const bool on_host0 : {true, false}) {
    SetConf(kConf);
    WriteFile("/tmp/.ha.hostname.original", on_host0 ? "nas-a" : "nas-b");
    char local[64], remote[64];
    EXPECT_EQ(TAVOHAGetOriginalHostname(local, sizeof local, 2), 0);
    EXPECT_EQ(TAVOHAGetOriginalHostname(remote, sizeof remote, 0), 0);
    EXPECT_STREQ(local, on_host0 ? "nas-a" : "nas-b");
    EXPECT_STREQ(remote, on_host0 ? "nas-b" : "nas-a");
  }
}

TEST(OriginalHostname, WhileHaIsStoppedIsTheKernelsShortName) {
  SetRunning(false);
  SetConf(kConf);
  WriteFile("/tmp/.ha.hostname.original", "saved");
  for (const auto& [live, expected] : {std::pair("nas-x.example.org", "nas-x"),
                                       {"nas-y", "nas-y"},
                                       {".example.org", ""},
                                       {"", ""}}) {
    ASSERT_EQ(sethostname(live, strlen(live)), 0);
    for (const BOOL local : {0, 1}) {
      char name[64] = "unset";
      EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, local), 0);
      EXPECT_STREQ(name, expected);
    }
  }
}

TEST(OriginalHostname, EveryFailureSaysWhyAndLeavesTheBuffer) {
  LogCapture log;
  char name[64] = "as it was";
  SetRunning(false);
  EXPECT_EQ(TAVOHAGetOriginalHostname(nullptr, 63, 1), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument")));

  const auto fails_with = [&](const char* code, char* buffer) {
    EXPECT_EQ(TAVOHAGetOriginalHostname(buffer, sizeof name, 1), -1);
    EXPECT_THAT(log.Take(),
                ElementsAre(Logged("ERROR", "conf",
                                   MatchesRegex(std::string("Failed to get hostname\\.\\[") + code +
                                                " ha_net_lnx_get_hostname:[0-9]+\\]"))));
  };
  fails_with("0x0D00", nullptr);
  ASSERT_EQ(TAVLIBFileLock(0x105, 5), 0);
  fails_with("0x0400", name);
  TAVLIBFileUnlock(0x100);
  ASSERT_EQ(sethostname(std::string(64, 'n').c_str(), 64), 0);
  fails_with("0x8100", name);
  EXPECT_EQ(TAVLIBFileLock(0x105, 0), 0) << "the host-name lock stays behind";
  TAVLIBFileUnlock(0x100);

  SetRunning(true);
  SetConf("host1=\"nas-b\"\n");
  EXPECT_EQ(TAVOHAGetOriginalHostname(name, sizeof name, 1), -1);
  EXPECT_THAT(log.Take(),
              testing::Contains(Logged("ERROR", "conf", "Failed to get host from conf.")));
  EXPECT_STREQ(name, "as it was");
}

TEST(ConfiguredNames, AreReadCutToTheBufferAndFailWithTheirOwnLine) {
  const struct {
    int (*get)(char*, int);
    const char* text;
    const char* cut;
    const char* failure;
  } cases[] = {
      {[](char* buffer, int size) {
         return TAVOHAGetHAHostname(buffer, static_cast<unsigned>(size));
       },
       "cluster", "clu", "Failed to get host from conf."},
      {HAGetHeartbeatIF, "eth3", "eth", "Failed to get heartbeat interface."},
      {TAVOHAGetHeartbeatIF, "eth3", "eth", "Failed to get heartbeat interface."},
  };
  LogCapture log;
  for (const auto& [get, text, cut, failure] : cases) {
    SetConf(kConf);
    char buffer[64];
    EXPECT_EQ(get(buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, text);
    EXPECT_EQ(get(buffer, 4), 0);
    EXPECT_STREQ(buffer, cut);
    EXPECT_THAT(log.Take(), IsEmpty());
    EXPECT_EQ(get(nullptr, 64), -1);
    EXPECT_EQ(get(buffer, 0), -1);
    EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument"),
                                        Logged("ERROR", "conf", "Invalid argument")));
    SetConf("");
    EXPECT_EQ(get(buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, cut);
    EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", failure)));
  }
}

TEST(ClusterName, IsSetInTheFileAndReportsWhenItCannotBe) {
  LogCapture log;
  SetConf(kConf);
  EXPECT_EQ(TAVOHASetHAHostname("renamed"), 0);
  char name[64];
  EXPECT_EQ(TAVOHAGetHAHostname(name, sizeof name), 0);
  EXPECT_STREQ(name, "renamed");
  EXPECT_EQ(TAVOHASetHAHostname(nullptr), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument")));
  EXPECT_EQ(TAVOHASetHAHostname("two\nlines"), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to set key: ha_hostname"),
                                      Logged("ERROR", "conf", "Failed to set host to conf")));
}

}  // namespace
