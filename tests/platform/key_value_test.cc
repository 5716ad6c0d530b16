#include <sys/resource.h>

#include <optional>
#include <random>

#include "platform/handles.h"
#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace std::string_literals;
using namespace test_support;
using platform::SzHash;
using platform::SzList;

constexpr char kPath[] = "/tmp/kv/file";
constexpr char kQuoted[] = "%s=\"%s\"\n";
constexpr char kIndented[] = "\t%s=%s\n";

// The value that both ways to ask for one key give.
std::optional<std::string> Get(const char* path, const char* key, int size = 1 << 20) {
  std::string buffer(static_cast<size_t>(size), '#');
  const int result = TAVLIBFileGetKeyValue(path, key, buffer.data(), size, 0);
  SzList keys;
  SzHash listed;
  TAVLIBSzListPush(keys.address(), key);
  EXPECT_EQ(TAVLIBFileGetKeys(path, keys.get(), listed.address(), "="), result);
  const char* const value = TAVLIBSzHashGetValue(listed.get(), key);
  EXPECT_EQ(value != nullptr, result == 1);
  if (value == nullptr) return std::nullopt;
  EXPECT_EQ(buffer.c_str(), std::string(value).substr(0, static_cast<size_t>(size) - 1));
  return buffer.c_str();
}

TEST(KeyValue, ReadsEveryLineFormAndPassesOverTheRest) {
  const std::string long_value(3 << 20, 'v');
  const std::pair<std::string, std::optional<std::string>> kCases[] = {
      {"k=\"v\"", "v"},
      {"\t k \t= \"v w\" \t\r\n", "v w"},
      {"k= v \r\n", " v \r"},
      {"k=\n", ""},
      {"k=\"\"\n", ""},
      {"k=\"\n", "\""},
      {"k=a=\"b\"\n", "a=\"b\""},
      {"k=first\nk=second\n", "first"},
      {"#k=no\n # k=no\n=no\nk\nkk=no\nK=no\n[k]\nk=yes", "yes"},
      {"k\0=no\n\0k=no\nk=a\0b\n"s, "a"},
      {long_value + "\n\n" + long_value + "=x\nk=v", "v"},
      {"", std::nullopt}};
  for (const auto& [text, value] : kCases) {
    SCOPED_TRACE(text.substr(0, 80));
    WriteFile(kPath, text);
    EXPECT_EQ(Get(kPath, "k"), value);
  }
  WriteFile(kPath, "k=\"" + long_value + "\"\n");
  EXPECT_EQ(Get(kPath, "k", 1024), long_value.substr(0, 1023));
  EXPECT_EQ(Get(kPath, "k", 1), "");

  // A missing file, and what is none, fail; a FIFO that nobody writes to keeps nobody waiting.
  mkfifo("/tmp/kv/fifo", 0600);
  for (const auto& [path, result] :
       {std::pair("/tmp/kv/none", -1), {"/tmp/kv", -1}, {"/tmp/kv/fifo", 0}}) {
    char buffer[8];
    EXPECT_EQ(TAVLIBFileGetKeyValue(path, "k", buffer, sizeof buffer, 0), result);
  }
}

TEST(KeyValue, RefusesWhatALineCannotCarryAndWritesNothing) {
  constexpr std::tuple<const char*, const char*, const char*> kCases[] = {
      {nullptr, "k", "two\nlines"}, {kQuoted, "two\nlines", "v"}, {nullptr, "", "v"},
      {nullptr, " k", "v"},         {nullptr, "#k", "v"},         {nullptr, "a=b", "v"},
      {kIndented, "k", "\"v\""},    {"%s=%s", "k", "v"},          {"", "k", "v"},
      {"%s=%s%s\n", "k", "v"},      {"%n=%s\n", "k", "v"},        {"%s=%s\n\n", "k", "v"},
      {"#%s=%s\n", "k", "v"},       {"%s=%sx\n", "k", "v"}};
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
  EXPECT_EQ(TAVLIBFileAddSection(kPath, "a\nb", SzHash().get(), nullptr), -1);
}

TEST(KeyValue, ChangesNoOtherLine) {
  const std::string odd("\n# k=1\n[k]\n  x = y \r\n=\0\xff\n", 25);
  std::string noise(300'000, '\0');
  std::minstd_rand random(1);
  for (char& c : noise) c = static_cast<char>(random());
  const std::pair<std::string, std::string> kCases[] = {
      // before, and after setting "k" to "v" and "n" to "w"
      {"", "k=\"v\"\nn=\"w\"\n"},
      {odd + "end", odd + "end\nk=\"v\"\nn=\"w\"\n"},
      {"a=1\n  k = 2\nb=3\nk=4\nk=5", "a=1\nk=\"v\"\nb=3\nn=\"w\"\n"},
      {"n=1\n" + odd + "k=2", "n=\"w\"\n" + odd + "k=\"v\"\n"},
      {"k=v\nn=w\nx", "k=\"v\"\nn=\"w\"\nx"},
      {noise + "\n", noise + "\nk=\"v\"\nn=\"w\"\n"}};
  SzHash pairs;
  TAVLIBSzHashSetValue(pairs.address(), "k", "v");
  TAVLIBSzHashSetValue(pairs.address(), "n", "w");
  for (const auto& [before, after] : kCases) {
    SCOPED_TRACE(before.substr(0, 80));
    WriteFile(kPath, before);
    EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "k", "v", nullptr), 1);
    EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "n", "w", kQuoted), 1);
    EXPECT_TRUE(ReadFile(kPath) == after);
    WriteFile(kPath, before);
    EXPECT_EQ(TAVLIBFileSetKeys(kPath, pairs.get(), nullptr, kQuoted), 1);
    EXPECT_TRUE(ReadFile(kPath) == after);
  }
  WriteFile(kPath, "k=1");
  EXPECT_EQ(TAVLIBFileAddSection(kPath, "Part", pairs.get(), kIndented), 1);
  EXPECT_EQ(ReadFile(kPath), "k=1\n[Part]\n\tk=v\n\tn=w\n");
}

TEST(KeyValue, FollowsLinksExceptBelowTmp) {
  WriteFile("/var/lib/kv/target", "k=old\n");
  symlink("second", "/var/lib/kv/first");
  symlink("/var/lib/kv/target", "/var/lib/kv/second");
  symlink("made", "/var/lib/kv/dangling");
  for (const char* name : {"/var/lib/kv/first", "/var/lib/kv/dangling"}) {
    EXPECT_EQ(TAVLIBFileSetKeyValue(name, "k", "v", nullptr), 1);
    EXPECT_TRUE(std::filesystem::is_symlink(name));
  }
  EXPECT_EQ(ReadFile("/var/lib/kv/made") + ReadFile("/var/lib/kv/target"), "k=\"v\"\nk=\"v\"\n");
  EXPECT_EQ(ListDirectory("/var/lib/kv").size(), 5U);

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

TEST(KeyValue, FollowsTmpItselfWhereThatIsALink) {
  ASSERT_EQ(rename("/tmp", "/memory"), 0);
  ASSERT_EQ(symlink("memory", "/tmp"), 0);
  WriteFile("/file", "outside\n");
  for (const char* path : {"/tmp/file", "/tmp//file"}) {
    EXPECT_EQ(TAVLIBFileSetKeyValue(path, "k", path, nullptr), 1);
    EXPECT_EQ(Get("/memory/file", "k"), path);
  }
  EXPECT_EQ(ReadFile("/file"), "outside\n");
}

TEST(KeyValue, KeepsTheOwnerAndThePermissions) {
  WriteFile(kPath, "k=old\n");
  chown(kPath, 12, 34);  // where the test may
  chmod(kPath, 0640);
  const auto owner = [] { return Shell("stat -c '%u %g %a' /tmp/kv/file").output; };
  const std::string before = owner();
  EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "k", "new", nullptr), 1);
  EXPECT_EQ(owner(), before);
}

TEST(KeyValue, RecordsWhyWritingFails) {
  mkdir("/tmp/kv", 0755);
  ASSERT_EQ(mount("small", "/tmp/kv", "tmpfs", 0, "size=64k"), 0);
  mkdir("/tmp/kv/directory", 0755);
  const std::string too_much(200'000, 'v');
  for (const auto& [path, value, code] : {std::tuple(kPath, too_much.c_str(), 0x0B00),
                                          {"/tmp/kv/directory", "v", 0x0900},
                                          {"/tmp/kv/none/file", "v", 0x0700}}) {
    EXPECT_EQ(TAVLIBFileSetKeyValue(path, "k", value, nullptr), -1);
    EXPECT_EQ(TAVLIBErrGet(), code);
  }
  EXPECT_THAT(ListDirectory("/tmp/kv"), ElementsAre("directory"));
}

TEST(KeyValue, RecordsALineThatIsMoreThanMemoryHolds) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer ends the program that runs out of memory";
#endif
  WriteFile(kPath, "k=v\n");
  truncate(kPath, off_t{1} << 32);
  const struct rlimit limit = {1 << 26, 1 << 26};
  ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
  EXPECT_EQ(TAVLIBFileSetKeyValue(kPath, "n", "w", nullptr), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0200);
}

}  // namespace
