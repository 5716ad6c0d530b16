#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tavohacore/conf.h>

#include <cstring>
#include <functional>

#include "tests/support/appliance.h"
#include "tests/support/log_capture.h"

namespace {

using namespace test_support;
using testing::ElementsAre;
using testing::ElementsAreArray;

struct Text {
  std::string key;
  char* field;
  size_t width;
};

// The texts of a record with their keys, in the order of the key table.
std::vector<Text> Texts(HA_CONF_STRUCT& r) {
  std::vector<Text> texts;
  const auto one = [&](const char* key, auto& field) {
    texts.push_back({key, field, sizeof field});
  };
  const auto each = [&](const std::string& key, auto& fields) {
    int slot = 0;
    for (auto& field : fields) texts.push_back({key + std::to_string(slot++), field, sizeof field});
  };
  one("drbd_if", r.drbd_if), one("drbd_if_origin", r.drbd_if_origin);
  one("drbd_ip0", r.drbd_ip0), one("drbd_ip1", r.drbd_ip1), one("drbd_netmask", r.drbd_netmask);
  one("drbd_bond_mode_origin", r.drbd_bond_mode_origin);
  one("drbd_mtu_origin", r.drbd_mtu_origin);
  one("host0", r.host0), one("host1", r.host1), one("ip0", r.ip0), one("ip1", r.ip1);
  one("corosync_key", r.corosync_key);
  one("ha_sn", r.ha_sn), one("ha_sn_custom", r.ha_sn_custom), one("ha_model", r.ha_model);
  one("ha_unique", r.ha_unique), one("ha_hostname", r.ha_hostname);
  one("ha_if_main", r.ha_if_main), one("ha_gateway", r.ha_gateway);
  one("begin_time", r.begin_time), one("is_hybrid", r.is_hybrid);
  one("model_group", r.model_group), one("model0", r.model0), one("model1", r.model1);
  one("lan_num", r.lan_num);
  each("ha_if", r.ha_if), each("ha_ip", r.ha_ip), each("ha_netmask", r.ha_netmask);
  each("ha_if_enabled", r.ha_if_enabled);
  each("ha_bond_if", r.ha_bond_if), each("ha_bond_ip", r.ha_bond_ip);
  each("ha_bond_netmask", r.ha_bond_netmask), each("ha_bond_if_enabled", r.ha_bond_if_enabled);
  each("ha_mac_", r.ha_mac), each("mac0_", r.mac0), each("mac1_", r.mac1);
  return texts;
}
constexpr size_t kScalarKeys = 25;

std::string Bytes(const HA_CONF_STRUCT& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

TEST(Snapshot, WhatOneNodeWritesTheOtherReadsByteForByte) {
  const std::pair<const char*, std::function<void(const Text&)>> fillings[] = {
      {"empty", [](const Text&) {}},
      {"full", [](const Text& t) { (t.key + std::string(64, '.')).copy(t.field, t.width - 1); }},
      {"without terminators",
       [](const Text& t) { (t.key + std::string(64, '.')).copy(t.field, t.width); }},
  };
  for (const auto& [name, fill] : fillings) {
    SCOPED_TRACE(name);
    HA_CONF_STRUCT record{};
    for (const Text& text : Texts(record)) fill(text);
    SetConf("corosync_key=\"secret\"\n");
    ASSERT_EQ(HAConfStructSet(&record), 0);

    std::string lines = "corosync_key=\"secret\"\n";
    strcpy(record.corosync_key, "secret");
    for (const Text& text : Texts(record)) {
      text.field[text.width - 1] = '\0';
      if (text.key != "corosync_key") lines += text.key + "=\"" + text.field + "\"\n";
    }
    EXPECT_EQ(ReadFile(kConfFile), lines);
    HA_CONF_STRUCT read{};
    memset(read.corosync_key, 0, sizeof read.corosync_key);
    memcpy(read.corosync_key, record.corosync_key, sizeof read.corosync_key);
    ASSERT_EQ(HAConfStructGet(&read), 0);
    EXPECT_TRUE(Bytes(read) == Bytes(record));
  }
}

TEST(Snapshot, MissingKeysAreLoggedInOrderAndTheirFieldsKept) {
  LogCapture log;
  SetConf("host0=\"nas-a\"\n");
  HA_CONF_STRUCT record, expected;
  memset(&record, '?', sizeof record);
  memcpy(&expected, &record, sizeof record);
  strcpy(expected.host0, "nas-a");
  EXPECT_EQ(HAConfStructGet(&record), 0);
  EXPECT_TRUE(Bytes(record) == Bytes(expected));

  std::vector<testing::Matcher<const LogLine&>> lines;
  const std::vector<Text> texts = Texts(record);
  for (size_t i = 0; i < texts.size(); ++i) {
    if (texts[i].key == "host0") continue;
    lines.push_back(
        Logged(i < kScalarKeys ? "DEBUG" : "ERROR", "conf", "There is no key:" + texts[i].key));
  }
  EXPECT_THAT(log.Take(), ElementsAreArray(lines));
}

TEST(Snapshot, WithoutAnyKeyTheGetterFails) {
  LogCapture log;
  HA_CONF_STRUCT record{};
  SetConf("");
  EXPECT_EQ(HAConfStructGet(&record), -1);
  EXPECT_EQ(log.Take().size(), 157u);
  unlink(kConfFile);
  EXPECT_EQ(HAConfStructGet(&record), -1);
  std::vector<testing::Matcher<const LogLine&>> lines;
  for (const Text& text : Texts(record)) {
    lines.push_back(Logged("ERROR", "conf", "Failed to get key:" + text.key));
  }
  EXPECT_THAT(log.Take(), ElementsAreArray(lines));
  EXPECT_EQ(HAConfStructGet(nullptr), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument")));
}

TEST(Snapshot, DamagedFileGivesTheKeysThatAreWhole) {
  using namespace std::string_literals;
  SetConf("ha_sn=\"" + std::string(40, '7') +
          "\"\nhost0\n\0\xff\x01=\0\nip0=\"10.0.0.1\"\nmodel0=\n"s +
          "ha_mac_11=\"00:11:22:33:44:55\" \nip1=\"10.0.0.2");
  HA_CONF_STRUCT record{};
  strcpy(record.host0, "kept");
  strcpy(record.model0, "gone");
  EXPECT_EQ(HAConfStructGet(&record), 0);
  EXPECT_EQ(record.ha_sn, std::string(35, '7'));
  EXPECT_STREQ(record.host0, "kept");
  EXPECT_STREQ(record.ip0, "10.0.0.1");
  EXPECT_STREQ(record.ip1, "\"10.0.0.2");  // a quote that is not closed belongs to the value
  EXPECT_STREQ(record.model0, "");
  EXPECT_STREQ(record.ha_mac[11], "00:11:22:33:44:55");
}

TEST(Snapshot, LeavesTheMirrorFileAlone) {
  SetConf("host0=\"old\"\n");
  WriteFile(kMirrorFile, "host0=\"mirrored\"\n");
  HA_CONF_STRUCT record{};
  EXPECT_EQ(HAConfStructGet(&record), 0);
  EXPECT_STREQ(record.host0, "old");
  EXPECT_EQ(HAConfStructSet(&record), 0);
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"mirrored\"\n");
}

TEST(Snapshot, RefusedWriteLeavesTheFileAsItWas) {
  LogCapture log;
  SetConf("host0=\"old\"\n");
  HA_CONF_STRUCT record{};
  EXPECT_EQ(HAConfStructSet(nullptr), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Invalid argument")));
  strcpy(record.model1, "two\nlines");
  EXPECT_EQ(HAConfStructSet(&record), -1);
  EXPECT_THAT(log.Take(), ElementsAre(Logged("ERROR", "conf", "Failed to set keys to ha.conf")));
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"old\"\n");
}

}  // namespace
