// A key/value file, and after its last NUL a value to write into it.
#include <cstring>
#include <map>

#include "fuzz/harness.h"
#include "platform/handles.h"

namespace {

constexpr char kFile[] = "/run/key_value";
using Pairs = std::map<std::string, std::string>;

Pairs ReadPairs() {
  platform::SzHash hash;
  platform::SzList keys;
  fuzz::Require(TAVLIBFileGetPair(kFile, hash.address()) >= 0);
  TAVLIBSzHashEnumKey(hash.get(), keys.address());
  Pairs pairs;
  for (int i = 0; const char* key = TAVLIBSzListGet(keys.get(), i); ++i) {
    pairs[key] = TAVLIBSzHashGetValue(hash.get(), key);
  }
  return pairs;
}

}  // namespace

FUZZ(data) {
  const size_t end = data.rfind('\0');
  const std::string value(end == data.npos ? "" : data.substr(end + 1));
  fuzz::WriteFile(kFile, data.substr(0, end));
  Pairs expected = ReadPairs();
  for (const auto& [key, stored] : expected) {
    fuzz::Require(TAVLIBFileCheckKeyValue(kFile, key.c_str(), stored.c_str(), 0) == 1);
  }
  char read[65536];
  const int found = TAVLIBFileGetKeyValue(kFile, "key", read, sizeof read, 0);
  fuzz::Require(found == (expected.contains("key") ? 1 : 0));
  fuzz::Require(found == 0 || read == expected["key"].substr(0, sizeof read - 1));

  const std::string before = fuzz::ReadFile(kFile);
  if (TAVLIBFileSetKeyValue(kFile, "key", value.c_str(), nullptr) == 1) {
    expected["key"] = value;
  } else {
    fuzz::Require(fuzz::ReadFile(kFile) == before);
    expected.erase(found == 1 ? "" : "key");
  }
  fuzz::Require(ReadPairs() == expected);
}
