#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "platform/handles.h"
#include "platform/tavlib.h"

namespace {

using platform::SzHash;
using platform::SzList;
using testing::ElementsAre;

std::vector<std::string> Entries(const SzList& list) {
  std::vector<std::string> entries;
  while (const char* entry = TAVLIBSzListGet(list.get(), static_cast<int>(entries.size()))) {
    entries.emplace_back(entry);
  }
  return entries;
}

TEST(SzList, KeepsCopiesInOrderAndNothingBeyondItsEnds) {
  SzList list;
  char text[] = "first";
  EXPECT_EQ(TAVLIBSzListPush(list.address(), text), 1);
  text[0] = 'X';
  EXPECT_EQ(TAVLIBSzListPush(list.address(), ""), 2);
  EXPECT_THAT(Entries(list), ElementsAre("first", ""));
  EXPECT_EQ(TAVLIBSzListGet(list.get(), -1), nullptr);
  TAVLIBSzListRemoveAll(list.get());
  EXPECT_THAT(Entries(list), ElementsAre());
}

TEST(SzHash, EnumeratesInOrderOfFirstSetting) {
  SzHash hash;
  for (const char* key : {"zeta", "alpha", "zeta", "mid"}) {
    EXPECT_EQ(TAVLIBSzHashSetValue(hash.address(), key, key + 1), 1);
  }
  EXPECT_EQ(TAVLIBSzHashSetValue(hash.address(), "alpha", "new"), 1);
  SzList keys;
  EXPECT_EQ(TAVLIBSzHashEnumKey(hash.get(), keys.address()), 3);
  EXPECT_THAT(Entries(keys), ElementsAre("zeta", "alpha", "mid"));
  EXPECT_STREQ(TAVLIBSzHashGetValue(hash.get(), "alpha"), "new");
  EXPECT_STREQ(TAVLIBSzHashGetValue(hash.get(), "mid"), "id");

  TAVLIBHashRemoveAll(hash.get());
  EXPECT_EQ(TAVLIBSzHashGetValue(hash.get(), "alpha"), nullptr);
  EXPECT_EQ(TAVLIBSzHashEnumKey(hash.get(), keys.address()), 0);
}

TEST(Text, SplitsAtRunsOfSeparators) {
  const struct {
    const char* text;
    std::vector<std::string> fields;
  } kCases[] = {
      {"a bc  d", {"a", "bc", "d"}},    {"  a b ", {"a", "b"}}, {"", {}}, {"   ", {}},
      {"a\tb,c d", {"a\tb", "c", "d"}}, {"one", {"one"}},
  };
  for (const auto& [text, fields] : kCases) {
    SCOPED_TRACE(text);
    SzList list;
    EXPECT_EQ(TAVLIBStrSep(text, " ,", list.address()), static_cast<int>(fields.size()));
    EXPECT_EQ(Entries(list), fields);
  }
}

TEST(Text, TrimsEveryKindOfWhiteSpaceAtTheEndsOnly) {
  for (const std::string text : {"", "a", "a b", "\xe9", "\x85"}) {
    const std::string padded = " \t\r\n\v\f" + text + "\f\v\n\r\t ";
    std::string target(padded.size() + 1, '#');
    EXPECT_EQ(TAVLIBStrTrim(padded.c_str(), target.data(), 0, 0), static_cast<int>(text.size()));
    EXPECT_STREQ(target.c_str(), text.c_str());
    std::string in_place = padded;
    EXPECT_EQ(TAVLIBStrTrimSpace(in_place.data(), 0), static_cast<int>(text.size()));
    EXPECT_STREQ(in_place.c_str(), text.c_str());
  }
}

TEST(Platform, RefusesNullPointersWithARecord) {
  SzList list;
  SzHash hash;
  TAVLIBSZLIST* no_list = nullptr;
  TAVLIBSZHASH* no_hash = nullptr;
  char buffer[8];
  const std::function<bool()> kRefused[] = {
      [&] { return TAVLIBSzListPush(&no_list, "x") == -1; },
      [&] { return TAVLIBSzListPush(list.address(), nullptr) == -1; },
      [&] { return TAVLIBSzHashSetValue(&no_hash, "k", "v") == -1; },
      [&] { return TAVLIBSzHashSetValue(hash.address(), "k", nullptr) == -1; },
      [&] { return TAVLIBSzHashGetValue(nullptr, "k") == nullptr; },
      [&] { return TAVLIBSzHashEnumKey(hash.get(), &no_list) == -1; },
      [&] { return TAVLIBStrTrimSpace(nullptr, 0) == -1; },
      [&] { return TAVLIBStrSep("x", nullptr, list.address()) == -1; },
      [&] { return TAVLIBFileExist(nullptr) == 0; },
      [&] { return TAVLIBFileTouch(nullptr) == -1; },
      [&] { return TAVLIBProcAliveByPidFile(nullptr) == 0; },
      [&] { return TAVLIBFileGetKeyValue("/f", "k", buffer, 0, 0) == -1; },
      [&] { return TAVLIBFileCheckKeyValue("/f", "k", nullptr, 0) == 0; },
      [&] { return TAVLIBFileGetKeys("/f", list.get(), &no_hash, "=") == -1; },
      [&] { return TAVLIBFileGetPair(nullptr, hash.address()) == -1; },
      [&] { return TAVLIBFileSetKeyValue("/f", "k", nullptr, nullptr) == -1; },
      [&] { return TAVLIBFileSetKeys("/f", nullptr, nullptr, nullptr) == -1; },
      [&] { return TAVLIBFileAddSection("/f", nullptr, hash.get(), nullptr) == -1; },
      [&] { return TAVLIBExec(nullptr, nullptr, nullptr, nullptr, nullptr) == -1; },
      [&] { return TAVLIBExecv("/bin/true", nullptr, 1) == -1; },
      [&] { return TAVLIBPopen(nullptr, "r", nullptr) == nullptr && errno == EINVAL; },
      [&] { return TAVLIBPclose(nullptr) == -1; },
  };
  for (const auto& refused : kRefused) {
    SCOPED_TRACE(&refused - kRefused);
    TAVLIBErrSetEx(0, "", 0);
    EXPECT_TRUE(refused());
    EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
  }
}

}  // namespace
