// What the platform's list and map are made of.
#ifndef PLATFORM_CORE_LISTS_H_
#define PLATFORM_CORE_LISTS_H_

#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/tavlib.h"

struct TAVLIBSZLIST {
  std::vector<std::string> entries;
};

// The entries stand in the order in which their keys were first set; the index finds them by key.
// An empty map holds no memory beyond itself.
struct TAVLIBSZHASH {
  struct Entry {
    std::string key;
    std::string value;
  };

  TAVLIBSZHASH() = default;
  TAVLIBSZHASH(const TAVLIBSZHASH&) = delete;
  TAVLIBSZHASH& operator=(const TAVLIBSZHASH&) = delete;

  void Set(std::string_view key, std::string_view value);
  // Sets the pair unless the key is there already.
  void Add(std::string_view key, std::string_view value);
  const Entry* Find(std::string_view key) const;
  void Clear();

  std::list<Entry> entries;

 private:
  std::unordered_map<std::string_view, Entry*> index_;
};

#endif  // PLATFORM_CORE_LISTS_H_
