#include "tests/crm/cluster.h"

namespace {

using namespace test_support;

constexpr char kScript[] = "/tmp/crm_conf.xml";

using DefaultConfiguration = Cluster;

TEST_F(DefaultConfiguration, AResetErasesTheConfigurationAloneUnlessItIsFull) {
  const auto standby = [](const Story& host) {
    return "crm node standby " + host +
           "; locate DUMMY_START; locate CHECKPOINT_LAST; "
           "locate CONF_SYNC; locate DRBD; locate INFO_SET; failed nas-a";
  };
  const Story erase = "crm configure erase; cibadmin --erase --force; list";
  for (const BOOL full : {0, 2}) Expect(HACrmConfReset(full), 0, "crm configure erase; list");
  HACrmConfReset(1);
  const Story both = standby("nas-b") + "; " + standby("nas-a");
  EXPECT_EQ(Done(), Then({both, erase, both}));
  SetConf("host0=nas-a\nhost1=\n");
  HACrmConfReset(1);
  EXPECT_EQ(Done(), Then({standby("nas-a"), erase, standby("nas-a")}));
}

TEST_F(DefaultConfiguration, AResetWaits32SecondsForTheLastResourceToGo) {
  Lists({2, 1, 0});
  Expect(HACrmConfReset(0), 0, "crm configure erase; list; pause 1; list; pause 1; list");
  Lists({1});
  Expect(HACrmConfReset(0), 0, Then({"crm configure erase", Times(32, "list; pause 1")}),
         "ERROR CrmGetResourceCount timeout");
}

TEST_F(DefaultConfiguration, ALoadCountsOnlyWithTenResourcesAndIsTriedThreeTimes) {
  const Story refused = "ERROR Failed to init default conf: 2.";
  const Story retry = "ERROR Retry to init default conf";
  const std::tuple<std::vector<int>, std::vector<ToolAnswer>, int, size_t, Story> cases[] = {
      {{0, 10}, {{}}, 0, 1, ""},
      {{0, 10}, {{.exit_status = 2}}, 0, 1, refused},
      {{0, 9, 10}, {{}}, 0, 2, retry},
      {{0, 11},
       {{}, {.exit_status = 2}, {}},
       -1,
       3,
       Then({retry, refused, retry, "ERROR Failed to init default conf after retry"})}};
  for (const auto& [lists, loads, result, tries, logged] : cases) {
    Lists(lists);
    crm.AnswerTo({"-f", kScript}, loads);
    Expect(HACrmConfInit(0), result,
           Then({"crm configure erase; list; pause 10",
                 Times(tries, "crm -f /tmp/crm_conf.xml; pause 5; list")}),
           logged);
    EXPECT_FALSE(Exists(kScript));
  }
}

TEST_F(DefaultConfiguration, WithoutHAEveryWaitIsWaitedOut) {
  ASSERT_EQ(rename("/tmp/.ha.running", "/tmp/.ha.not.running"), 0);
  EXPECT_EQ(HACrmConfInit(0), -1);
  EXPECT_EQ(Done(), Then({"crm configure erase", Times(32, "pause 1"), "pause 10",
                          Times(3, "crm -f /tmp/crm_conf.xml; pause 5")}));
}

TEST_F(DefaultConfiguration, TheToolGetsTheWholeScriptAndNobodyElseAHandOnIt) {
  unlink("/usr/bin/crm");
  WriteFile("/usr/bin/crm", "#!/bin/sh\n[ \"$1\" != -f ] || cp \"$2\" /tmp/seen\n");
  chmod("/usr/bin/crm", 0755);
  WriteFile("/tmp/precious", "another user's");
  ASSERT_EQ(link("/tmp/precious", kScript), 0);
  Lists({0, 10});
  EXPECT_EQ(HACrmConfInit(0), 0);
  EXPECT_EQ(ReadFile("/tmp/seen"), ReadFile(DEFAULT_CONFIGURATION));
  EXPECT_EQ(ReadFile("/tmp/precious"), "another user's");
  EXPECT_FALSE(Exists(kScript));
  mkdir(kScript, 0755);
  EXPECT_EQ(HACrmConfInit(0), -1);
  EXPECT_THAT(Log(), EndsWith("ERROR Failed to fopen /tmp/crm_conf.xml: Is a directory; "
                              "ERROR Failed to prepare default conf"));
}

}  // namespace
