#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/handles.h"
#include "platform/tavlib.h"
#include "tests/support/files.h"

namespace {

using platform::SzHash;
using platform::SzList;
using test_support::ListDirectory;
using test_support::ReadFile;
using test_support::WriteFile;
using testing::ElementsAre;

constexpr char kPath[] = "/tmp/kv/file";
constexpr char kQuoted[] = "%s=\"%s\"\n";
constexpr char kIndented[] = "\t%s=%s\n";

// The value that each kind of read gives, after making sure that they agree.
std::optional<std::string> Get(const char* path, const char* key, int size = 1 << 20) {
  std::string buffer(static_cast<size_t>(size), '#');
  const int result = TAVLIBFileGetKeyValue(path, key, buffer.data(), size, 0);
  SzList keys;
  SzHash listed;
  SzHash all;
  TAVLIBSzListPush(keys.address(), key);
  EXPECT_EQ(TAVLIBFileGetKeys(path, keys.get(), listed.address(), "="), result);
  EXPECT_GE(TAVLIBFileGetPair(path, all.address()), result);
  const char* const value = TAVLIBSzHashGetValue(listed.get(), key);
  EXPECT_STREQ(TAVLIBSzHashGetValue(all.get(), key), value);
  EXPECT_EQ(value != nullptr, result == 1);
  if (value == nullptr) {
    EXPECT_EQ(buffer[0], '#');
    return std::nullopt;
  }
  EXPECT_EQ(TAVLIBFileCheckKeyValue(path, key, value, 0), 1);
  EXPECT_EQ(TAVLIBFileCheckKeyValue(path, key, (std::string(value) + "x").c_str(), 0), 0);
  EXPECT_STREQ(buffer.c_str(), std::string(value).substr(0, static_cast<size_t>(size) - 1).c_str());
  return buffer.c_str();
}

TEST(KeyValue, ReadsEveryLineFormAndPassesOverTheRest) {
  const std::string long_value(3 << 20, 'v');
  const struct {
    std::string text;
    std::optional<std::string> value;  // of the key "k"
  } kCases[] = {
      {"k=v\n", "v"},
      {"k=\"v\"", "v"},
      {"\t k \t= \"v w\" \t\r\n", "v w"},
      {"k= v \r\n", " v \r"},
      {"k=\n", ""},
      {"k=\"\"\n", ""},
      {"k=\"\n", "\""},
      {"k=a=\"b\"\n", "a=\"b\""},
      {"k=\"a\"b\"\n", "a\"b"},
      {"k=first\nk=second\n", "first"},
      {"#k=no\n # k=no\n=no\nk\nkk=no\nK=no\n[k]\nk=yes", "yes"},
      {"#k=no\nxk=no\nk\n", std::nullopt},
      {std::string("k\0=no\n\0k=no\nk=a\0b\n", 19), "a"},
      {long_value + "\n\n" + long_value + "=x\nk=v", "v"},
      {"", std::nullopt},
  };
  for (const auto& [text, value] : kCases) {
    SCOPED_TRACE(text.substr(0, 80));
    WriteFile(kPath, text);
    EXPECT_EQ(Get(kPath, "k"), value);
  }
}

TEST(KeyValue, CutsAValueToTheBuffer) {
  WriteFile(kPath, "k=\"" + std::string(1 << 20, 'v') + "\"\n");
  EXPECT_EQ(Get(kPath, "k", 1024), std::string(1023, 'v'));
  EXPECT_EQ(Get(kPath, "k", 1), "");
}

TEST(KeyValue, TellsAMissingFileKeyAndUnreadableFileApart) {
  WriteFile(kPath, "a=1\n");
  mkfifo("/tmp/kv/fifo", 0600);
  symlink("file", "/tmp/kv/link");
  const struct {
    const char* path;
    int result;
    int code;
  } kCases[] = {
      {kPath, 0, 0x0800},           {"/tmp/kv/none", -1, 0x0700}, {"/tmp/kv/file/x", -1, 0x0700},
      {"/tmp/kv/link", -1, 0x0700}, {"/tmp/kv", -1, 0x0A00},      {"/tmp/kv/fifo", 0, 0x0800},
  };
  for (const auto& [path, result, code] : kCases) {
    SCOPED_TRACE(path);
    char buffer[8];
    EXPECT_EQ(TAVLIBFileGetKeyValue(path, "k", buffer, sizeof buffer, 0), result);
    EXPECT_EQ(TAVLIBErrGet(), code);
    EXPECT_STREQ(TAVLIBErrorGetFile(), "key_value");
  }
}

TEST(KeyValue, CountsListedKeysOnce) {
  WriteFile(kPath, "a=1\nb=2\na=3\nc=4\n");
  SzList keys;
  for (const char* key : {"c", "a", "a", "none"}) TAVLIBSzListPush(keys.address(), key);
  SzHash hash;
  EXPECT_EQ(TAVLIBFileGetKeys(kPath, keys.get(), hash.address(), "="), 2);
  EXPECT_STREQ(TAVLIBSzHashGetValue(hash.get(), "a"), "1");
  TAVLIBSzHashSetValue(hash.address(), "b", "old");
  EXPECT_EQ(TAVLIBFileGetPair(kPath, hash.address()), 3);
  EXPECT_STREQ(TAVLIBSzHashGetValue(hash.get(), "b"), "2");
}

TEST(KeyValue, ReadsBackWhatItWroteInEveryLineForm) {
  const struct {
    std::string key;
    std::string value;
  } kPairs[] = {
      {"key", "value"},      {"a key", ""},       {"key", "a=b # c"},
      {"[key]", "100%s %n"}, {"key", "\xff\x01"}, {"key", " padded\t "},
      {"key", "\""},         {"k\"y", "cr\r"},    {"key", std::string(100'000, 'v')},
  };
  for (const char* format : {static_cast<const char*>(nullptr), kQuoted, kIndented}) {
    for (const auto& [key, value] : kPairs) {
      SCOPED_TRACE(key + "=" + value.substr(0, 20) + " as " + (format ? format : "null"));
      WriteFile(kPath, "");
      ASSERT_EQ(TAVLIBFileSetKeyValue(kPath, key.c_str(), value.c_str(), format), 1);
      EXPECT_EQ(Get(kPath, key.c_str()), value);
    }
  }
  for (const char* value : {"\"\"", " \"v\" ", " v"}) {
    ASSERT_EQ(TAVLIBFileSetKeyValue(kPath, "key", value, kQuoted), 1);
    EXPECT_EQ(Get(kPath, "key"), value);
  }
}

TEST(KeyValue, RefusesWhatALineCannotCarryAndWritesNothing) {
  const struct {
    const char* format;
    const char* key;
    const char* value;
  } kCases[] = {
      {nullptr, "k", "two\nlines"},
      {kQuoted, "two\nlines", "v"},
      {kIndented, "k", "\n"},
      {nullptr, "", "v"},
      {nullptr, " k", "v"},
      {nullptr, "k\t", "v"},
      {nullptr, "#k", "v"},
      {nullptr, "a=b", "v"},
      {kIndented, "k", "\"v\""},
      {kIndented, "k", " \"v\" "},
      {"%s=%s", "k", "v"},
      {"%s\n", "k", "v"},
      {"\n", "k", "v"},
      {"", "k", "v"},
      {"%s=%d\n", "k", "v"},
      {"%s=%s%s\n", "k", "v"},
      {"%s=%s\n\n", "k", "v"},
      {"%s %s\n", "k", "v"},
      {"%n=%s\n", "k", "v"},
      {"%9s=%s\n", "k", "v"},
      {"%s=%s\n%", "k", "v"},
      {"%%%s=%s\n", "k", "v"},
      {"#%s=%s\n", "k", "v"},
      {"%s=%sx\n", "k", "v"},
  };
  WriteFile(kPath, "k=old\n");
  for (const auto& [format, key, value] : kCases) {
    SCOPED_TRACE(std::string(format ? format : "null") + " " + key + " " + value);
    SzHash pair;
    TAVLIBSzHashSetValue(pair.address(), "good", "value");
    TAVLIBSzHashSetValue(pair.address(), key, value);
    TAVLIBErrSetEx(0, "", 0);
    EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, key, value, format), -1);
    EXPECT_EQ(TAVLIBErrGet(), 0x0D00);
    EXPECT_EQ(TAVLIBFileSetKeys(kPath, pair.get(), nullptr, format), -1);
    EXPECT_EQ(TAVLIBFileAddSection(kPath, "s", pair.get(), format), -1);
    EXPECT_EQ(TAVLIBFileSetKeyValue("/tmp/kv/new", key, value, format), -1);
    EXPECT_EQ(ReadFile(kPath), "k=old\n");
    EXPECT_THAT(ListDirectory("/tmp/kv"), ElementsAre("file"));
  }
  SzHash none;
  for (const char* section : {"a=b", "a\nb"}) {
    EXPECT_EQ(TAVLIBFileAddSection(kPath, section, none.get(), nullptr), -1);
  }
}

TEST(KeyValue, ChangesNoOtherLine) {
  const std::string odd("\n# k=1\n[k]\n  x = y \r\n=\0\xff\n", 25);
  const struct {
    std::string before;
    std::string after;  // setting "k" to "v", then "n" to "w"
  } kCases[] = {
      {"", "k=\"v\"\nn=\"w\"\n"},
      {odd, odd + "k=\"v\"\nn=\"w\"\n"},
      {odd + "end", odd + "end\nk=\"v\"\nn=\"w\"\n"},
      {"a=1\n  k = 2\nb=3\nk=4\nk=5", "a=1\nk=\"v\"\nb=3\nn=\"w\"\n"},
      {"n=1\n" + odd + "k=2", "n=\"w\"\n" + odd + "k=\"v\"\n"},
      {"k=1\nx", "k=\"v\"\nx\nn=\"w\"\n"},
      {"k=v\nn=w\nx", "k=\"v\"\nn=\"w\"\nx"},
      {std::string(100'000, 'x') + "=\n", std::string(100'000, 'x') + "=\nk=\"v\"\nn=\"w\"\n"},
  };
  SzHash pairs;
  TAVLIBSzHashSetValue(pairs.address(), "k", "v");
  TAVLIBSzHashSetValue(pairs.address(), "n", "w");
  for (const auto& [before, after] : kCases) {
    SCOPED_TRACE(before.substr(0, 80));
    WriteFile(kPath, before);
    EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "k", "v", nullptr), 1);
    EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "n", "w", kQuoted), 1);
    EXPECT_EQ(ReadFile(kPath), after);
    WriteFile(kPath, before);
    EXPECT_EQ(TAVLIBFileSetKeys(kPath, pairs.get(), nullptr, kQuoted), 1);
    EXPECT_EQ(ReadFile(kPath), after);
  }
  WriteFile(kPath, "k=1");
  EXPECT_EQ(TAVLIBFileAddSection(kPath, "Part", pairs.get(), kIndented), 1);
  EXPECT_EQ(ReadFile(kPath), "k=1\n[Part]\n\tk=v\n\tn=w\n");
}

TEST(KeyValue, KeepsNoiseByteForByte) {
  std::minstd_rand random(1);
  std::string noise(300'000, '\0');
  for (char& c : noise) c = static_cast<char>(random());
  WriteFile(kPath, noise + "\n");
  SzHash hash;
  EXPECT_GT(TAVLIBFileGetPair(kPath, hash.address()), 0);
  EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "key", "value", nullptr), 1);
  EXPECT_EQ(ReadFile(kPath), noise + "\nkey=\"value\"\n");
}

TEST(KeyValue, FollowsLinksExceptBelowTmp) {
  mkdir("/var/lib/kv", 0755);
  WriteFile("/var/lib/kv/target", "k=old\n");
  symlink("second", "/var/lib/kv/first");
  symlink("/var/lib/kv/target", "/var/lib/kv/second");
  symlink("made", "/var/lib/kv/dangling");
  EXPECT_EQ(TAVLIBFileSetKeyValue("/var/lib/kv/first", "k", "v", nullptr), 1);
  EXPECT_EQ(TAVLIBFileSetKeyValue("/var/lib/kv/dangling", "k", "v", nullptr), 1);
  EXPECT_EQ(Get("/var/lib/kv/first", "k"), "v");
  EXPECT_EQ(Get("/var/lib/kv/made", "k"), "v");
  EXPECT_THAT(ListDirectory("/var/lib/kv"),
              ElementsAre("dangling", "first", "made", "second", "target"));
  struct stat status {};
  EXPECT_EQ(lstat("/var/lib/kv/first", &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));

  mkdir("/tmp/kv", 0755);
  symlink("/var/lib/kv/target", kPath);
  symlink("/var/lib/kv", "/tmp/kv/directory");
  symlink(kPath, "/var/lib/kv/into_tmp");
  EXPECT_EQ(Get(kPath, "k"), std::nullopt);
  for (const char* path : {"/var/lib/kv/into_tmp", kPath}) {
    EXPECT_EQ(TAVLIBFileSetKeyValue(path, "n", "w", nullptr), 1);
    EXPECT_EQ(ReadFile(kPath), "n=\"w\"\n");
  }
  EXPECT_EQ(TAVLIBFileSetKeyValue("/tmp/kv/directory/target", "n", "w", nullptr), -1);
  EXPECT_EQ(ReadFile("/var/lib/kv/target"), "k=\"v\"\n");
}

TEST(KeyValue, ReplacesTheFileInOneStepAndKeepsItsOwnerAndPermissions) {
  WriteFile(kPath, "k=old\n");
  chown(kPath, 12, 34);  // where the test may
  chmod(kPath, 0640);
  struct stat before {};
  stat(kPath, &before);
  std::ifstream reader(kPath);
  EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "k", "new", nullptr), 1);
  std::string line;
  std::getline(reader, line);
  EXPECT_EQ(line, "k=old");
  struct stat after {};
  stat(kPath, &after);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(after.st_mode, before.st_mode);

  umask(027);
  EXPECT_EQ(TAVLIBFileSetKeyValue("/tmp/kv/new", "k", "new", nullptr), 1);
  stat("/tmp/kv/new", &after);
  EXPECT_EQ(after.st_mode & 07777, 0640U);
}

TEST(KeyValue, LeavesTheOldFileAndNothingElseWhenWritingFails) {
  mkdir("/tmp/kv", 0755);
  ASSERT_EQ(mount("small", "/tmp/kv", "tmpfs", 0, "size=64k"), 0);
  WriteFile(kPath, "k=old\n");
  mkdir("/tmp/kv/directory", 0755);
  const std::string too_much(200'000, 'v');
  EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "k", too_much.c_str(), nullptr), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0B00);
  EXPECT_EQ(TAVLIBFileSetKeyValue("/tmp/kv/directory", "k", "v", nullptr), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0900);
  EXPECT_EQ(TAVLIBFileSetKeyValue("/tmp/kv/none/file", "k", "v", nullptr), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0700);
  EXPECT_EQ(ReadFile(kPath), "k=old\n");
  EXPECT_THAT(ListDirectory("/tmp/kv"), ElementsAre("directory", "file"));
  EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "k", "v", nullptr), 1);  // no lock stayed
}

TEST(KeyValue, FailsWhenALineIsMoreThanMemoryHolds) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer ends the program that runs out of memory";
#endif
  WriteFile(kPath, "k=v\n");
  truncate(kPath, off_t{1} << 32);
  struct rlimit limit {};
  getrlimit(RLIMIT_AS, &limit);
  limit.rlim_cur = rlim_t{1} << 26;
  ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
  SzHash hash;
  EXPECT_EQ(TAVLIBFileGetPair(kPath, hash.address()), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0200);
  EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "n", "w", nullptr), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0200);
  EXPECT_THAT(ListDirectory("/tmp/kv"), ElementsAre("file"));
}

TEST(KeyValue, LosesNoKeyBetweenWritersAndShowsReadersWholeFiles) {
  constexpr int kWriters = 8;
  constexpr int kWrites = 1000;
  const auto name = [](int writer) { return "key" + std::to_string(writer); };
  mkdir("/tmp/kv", 0755);
  for (int i = 0; i < kWriters; ++i) TAVLIBFileSetKeyValue(kPath, name(i).c_str(), "0", nullptr);

  std::vector<pid_t> writers;
  for (int i = 0; i < kWriters; ++i) {
    writers.push_back(fork());
    if (writers.back() != 0) continue;
    for (int write = 1; write <= kWrites; ++write) {
      const std::string value = std::to_string(write);
      if (TAVLIBFileSetKeyValue(kPath, name(i).c_str(), value.c_str(), nullptr) != 1) _exit(1);
      if (TAVLIBFileCheckKeyValue(kPath, name(i).c_str(), value.c_str(), 0) != 1) _exit(2);
    }
    _exit(0);
  }
  std::atomic<bool> writing = true;
  int damaged = 0;
  std::thread reader([&] {
    while (writing) {
      SzHash hash;
      damaged += TAVLIBFileGetPair(kPath, hash.address()) != kWriters;
    }
  });
  for (const pid_t writer : writers) {
    int status = 0;
    waitpid(writer, &status, 0);
    EXPECT_EQ(status, 0);
  }
  writing = false;
  reader.join();
  EXPECT_EQ(damaged, 0);
  for (int i = 0; i < kWriters; ++i) {
    EXPECT_EQ(Get(kPath, name(i).c_str()), std::to_string(kWrites));
  }
  EXPECT_THAT(ListDirectory("/tmp/kv"), ElementsAre("file"));
}

}  // namespace
