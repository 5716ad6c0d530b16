#include <tavohacore/conf.h>

#include <sstream>

#include "tests/frame/logged.h"

namespace {

using namespace test_support;

// The record, field by field: the key, the width, and 12 where there is one for each index.
constexpr char kFields[] =
    "drbd_if 16 1 drbd_if_origin 16 1 drbd_ip0 20 1 drbd_ip1 20 1 drbd_netmask 20 1 "
    "drbd_bond_mode_origin 2 1 drbd_mtu_origin 6 1 host0 64 1 host1 64 1 ip0 20 1 ip1 20 1 "
    "corosync_key 10 1 ha_sn 36 1 ha_sn_custom 32 1 ha_model 16 1 ha_unique 64 1 ha_hostname 64 1 "
    "ha_if_main 16 1 ha_gateway 20 1 ha_if 16 12 ha_ip 20 12 ha_netmask 20 12 ha_if_enabled 8 12 "
    "ha_bond_if 16 12 ha_bond_ip 20 12 ha_bond_netmask 20 12 ha_bond_if_enabled 8 12 "
    "ha_mac_ 18 12 mac0_ 18 12 mac1_ 18 12 begin_time 32 1 is_hybrid 8 1 model_group 16 1 "
    "model0 64 1 model1 64 1 lan_num 8 1";

struct Text {
  std::string key;
  char* field;
  size_t width;
};
constexpr int kScalarKeys = 25;

// The texts of a record in the order of their keys, in which all with an index come last.
std::vector<Text> Texts(HA_CONF_STRUCT& record) {
  std::vector<Text> texts, indexed;
  char* at = reinterpret_cast<char*>(&record);
  std::istringstream fields(kFields);
  std::string key;
  for (size_t width = 0, count = 0; fields >> key >> width >> count;) {
    for (size_t i = 0; i < count; ++i, at += width) {
      (count == 1 ? texts : indexed)
          .push_back({count == 1 ? key : key + std::to_string(i), at, width});
    }
  }
  EXPECT_EQ(at, reinterpret_cast<char*>(&record + 1)) << "the record has another size";
  texts.insert(texts.end(), indexed.begin(), indexed.end());
  return texts;
}

using Snapshot = Logged;

TEST_F(Snapshot, WhatOneNodeWritesTheOtherReadsByteForByte) {
  for (const bool full : {false, true}) {  // to the last byte, without an end
    HA_CONF_STRUCT record{}, read{};
    for (const Text& t : Texts(record)) {
      (t.key + std::string(64, '.')).copy(t.field, full ? t.width : 0);
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
    EXPECT_TRUE(memcmp(&read, &record, sizeof read) == 0);
    EXPECT_STREQ(read.corosync_key, "secret");
  }
}

TEST_F(Snapshot, EachMissingKeyIsLoggedInOrderAndItsFieldKept) {
  for (const bool there : {true, false}) {
    SetConf("host0=\"nas-a\"\n");
    if (!there) unlink(kConfFile);
    HA_CONF_STRUCT record, expected;
    memset(&record, '?', sizeof record);
    expected = record;
    if (there) strcpy(expected.host0, "nas-a");
    EXPECT_EQ(HAConfStructGet(&record), there ? 0 : -1);
    EXPECT_TRUE(memcmp(&record, &expected, sizeof record) == 0);
    std::string lines;
    int number = 0;
    for (const Text& text : Texts(record)) {
      const std::string level = number++ < kScalarKeys && there ? "DEBUG" : "ERROR";
      if (there && text.key == "host0") continue;
      lines += (lines.empty() ? "" : "; ") + level +
               (there ? " conf: There is no key:" : " conf: Failed to get key:") + text.key;
    }
    EXPECT_EQ(log.Take(), lines);
  }
}

TEST_F(Snapshot, RefusedWriteLeavesTheFileAndEveryWriteTheMirror) {
  HA_CONF_STRUCT record{};
  SetConf("ha_sn=\"" + std::string(40, '7') + "\"\n");
  EXPECT_EQ(HAConfStructGet(&record), 0);
  EXPECT_EQ(record.ha_sn, std::string(35, '7')) << "cut to its field";
  log.Take();
  EXPECT_EQ(Outcome(HAConfStructGet(nullptr)), "-1 ERROR conf: Invalid argument");
  EXPECT_EQ(Outcome(HAConfStructSet(nullptr)), "-1 ERROR conf: Invalid argument");
  SetConf("host0=\"old\"\n");
  WriteFile(kMirrorFile, "host0=\"mirrored\"\n");
  strcpy(record.model1, "two\nlines");
  EXPECT_EQ(Outcome(HAConfStructSet(&record)), "-1 ERROR conf: Failed to set keys to ha.conf");
  EXPECT_EQ(ReadFile(kConfFile), "host0=\"old\"\n");
  strcpy(record.model1, "one");
  EXPECT_EQ(HAConfStructSet(&record), 0);
  EXPECT_EQ(ReadFile(kMirrorFile), "host0=\"mirrored\"\n");
}

}  // namespace
