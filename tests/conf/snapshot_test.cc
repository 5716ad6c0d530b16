#include <gtest/gtest.h>
#include <tavohacore/conf.h>

#include <cstring>

#include "tests/support/appliance.h"

namespace {

using namespace test_support;

struct Text {
  std::string key;
  char* field;
  size_t width;
};
constexpr size_t kScalarKeys = 25;

// The texts of a record with their keys, in the order of the key table.
std::vector<Text> Texts(HA_CONF_STRUCT& r) {
  std::vector<Text> texts;
  const auto one = [&](const char* key, auto& field) {
    texts.push_back({key, field, sizeof field});
  };
  const auto each = [&](const std::string& key, auto& fields) {
    int slot = 0;
    for (auto& field : fields) one((key + std::to_string(slot++)).c_str(), field);
  };
  one("drbd_if", r.drbd_if), one("drbd_if_origin", r.drbd_if_origin);
  one("drbd_ip0", r.drbd_ip0), one("drbd_ip1", r.drbd_ip1), one("drbd_netmask", r.drbd_netmask);
  one("drbd_bond_mode_origin", r.drbd_bond_mode_origin);
  one("drbd_mtu_origin", r.drbd_mtu_origin);
  one("host0", r.host0), one("host1", r.host1), one("ip0", r.ip0), one("ip1", r.ip1);
  one("corosync_key", r.corosync_key), one("ha_sn", r.ha_sn), one("ha_sn_custom", r.ha_sn_custom);
  one("ha_model", r.ha_model), one("ha_unique", r.ha_unique), one("ha_hostname", r.ha_hostname);
  one("ha_if_main", r.ha_if_main), one("ha_gateway", r.ha_gateway);
  one("begin_time", r.begin_time), one("is_hybrid", r.is_hybrid);
  one("model_group", r.model_group), one("model0", r.model0), one("model1", r.model1);
  one("lan_num", r.lan_num);
  each("ha_if", r.ha_if), each("ha_ip", r.ha_ip), each("ha_netmask", r.ha_netmask);
  each("ha_if_enabled", r.ha_if_enabled), each("ha_bond_if", r.ha_bond_if);
  each("ha_bond_ip", r.ha_bond_ip), each("ha_bond_netmask", r.ha_bond_netmask);
  each("ha_bond_if_enabled", r.ha_bond_if_enabled);
  each("ha_mac_", r.ha_mac), each("mac0_", r.mac0), each("mac1_", r.mac1);
  return texts;
}

bool Equal(const HA_CONF_STRUCT& a, const HA_CONF_STRUCT& b) {
  return memcmp(&a, &b, sizeof a) == 0;
}

TEST(Snapshot, WhatOneNodeWritesTheOtherReadsByteForByte) {
  enum Filling { kEmpty, kFull, kUnterminated };
  for (const Filling filling : {kEmpty, kFull, kUnterminated}) {
    SCOPED_TRACE(filling);
    HA_CONF_STRUCT record{}, read{};
    for (const Text& t : Texts(record)) {
      const size_t length = filling == kEmpty ? 0 : filling == kFull ? t.width - 1 : t.width;
      (t.key + std::string(64, '.')).copy(t.field, length);
    }
    SetConf("corosync_key=\"secret\"\n");
    ASSERT_EQ(HAConfStructSet(&record), 0);
    ASSERT_EQ(HAConfStructGet(&read), 0);

    memcpy(record.corosync_key, read.corosync_key, sizeof read.corosync_key);  // never written
    std::string lines = "corosync_key=\"secret\"\n";
    for (const Text& t : Texts(record)) {
      t.field[t.width - 1] = '\0';
      if (t.key != "corosync_key") lines += t.key + "=\"" + t.field + "\"\n";
    }
    EXPECT_EQ(ReadFile(kConfFile), lines);
    EXPECT_TRUE(Equal(read, record));
    EXPECT_STREQ(read.corosync_key, "secret");
  }
}

TEST(Snapshot, EachMissingKeyIsLoggedInOrderAndItsFieldKept) {
  const struct {
    const char* file;  // null: none
    int result;
    const char *scalar, *indexed;
  } cases[] = {
      {"host0=\"nas-a\"\n", 0, "DEBUG conf: There is no key:", "ERROR conf: There is no key:"},
      {"", -1, "DEBUG conf: There is no key:", "ERROR conf: There is no key:"},
      {nullptr, -1, "ERROR conf: Failed to get key:", "ERROR conf: Failed to get key:"},
  };
  LogCapture log;
  for (const auto& [file, result, scalar, indexed] : cases) {
    SetConf(file == nullptr ? "" : file);
    if (file == nullptr) unlink(kConfFile);
    HA_CONF_STRUCT record, expected;
    memset(&record, '?', sizeof record);
    expected = record;
    if (result == 0) strcpy(expected.host0, "nas-a");
    EXPECT_EQ(HAConfStructGet(&record), result);
    EXPECT_TRUE(Equal(record, expected));
    std::string lines;
    size_t number = 0;
    for (const Text& text : Texts(record)) {
      const char* line = number++ < kScalarKeys ? scalar : indexed;
      if (result == 0 && text.key == "host0") continue;
      lines += (lines.empty() ? "" : "; ") + (line + text.key);
    }
    EXPECT_EQ(TakeLines(log), lines);
  }
}

TEST(Snapshot, DamagedFileGivesTheKeysThatAreWhole) {
  using namespace std::string_literals;
  SetConf("ha_sn=\"" + std::string(40, '7') + "\"\nhost0\n\0\xff\x01=\0\nip0=\"10.0.0.1\"\n"s +
          "model0=\nha_mac_11=\"00:11:22:33:44:55\" \nip1=\"10.0.0.2");
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

TEST(Snapshot, RefusedWriteLeavesTheFileAndEveryWriteTheMirror) {
  LogCapture log;
  SetConf("host0=\"old\"\n");
  WriteFile(kMirrorFile, "host0=\"mirrored\"\n");
  HA_CONF_STRUCT record{};
  EXPECT_EQ(HAConfStructGet(nullptr), -1);
  EXPECT_EQ(HAConfStructSet(nullptr), -1);
  EXPECT_EQ(TakeLines(log), "ERROR conf: Invalid argument; ERROR conf: Invalid argument");
  strcpy(record.model1, "two\nlines");
  EXPECT_EQ(HAConfStructSet(&record), -1);
  EXPECT_EQ(TakeLines(log), "ERROR conf: Failed to set keys to ha.conf");
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"old\"\n");
  EXPECT_EQ(HAConfStructGet(&record), 0);
  EXPECT_STREQ(record.host0, "old");
  strcpy(record.model1, "one");
  EXPECT_EQ(HAConfStructSet(&record), 0);
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"mirrored\"\n");
}

}  // namespace
