#include "platform/core/lists.h"

#include <new>

#include "platform/core/record.h"

namespace {

constexpr char kModule[] = "lists";

// An allocated list or map, or null with a record.
template <typename Container>
Container* Alloc() {
  auto* container = new (std::nothrow) Container;
  if (container == nullptr) TAVLIB_RECORD(kErrorNoMemory);
  return container;
}

}  // namespace

void TAVLIBSZHASH::Set(std::string_view key, std::string_view value) {
  const auto found = index_.find(key);
  if (found == index_.end()) {
    Add(key, value);
  } else {
    found->second->value = value;
  }
}

void TAVLIBSZHASH::Add(std::string_view key, std::string_view value) {
  if (index_.contains(key)) return;
  std::list<Entry> added;
  added.push_back({std::string(key), std::string(value)});
  index_.emplace(added.back().key, &added.back());
  entries.splice(entries.end(), added);
}

const TAVLIBSZHASH::Entry* TAVLIBSZHASH::Find(std::string_view key) const {
  const auto found = index_.find(key);
  return found == index_.end() ? nullptr : found->second;
}

void TAVLIBSZHASH::Clear() {
  index_.clear();
  entries.clear();
}

TAVLIBSZLIST* TAVLIBSzListAlloc(int /*capacity*/) { return Alloc<TAVLIBSZLIST>(); }
TAVLIBSZHASH* TAVLIBSzHashAlloc(int /*capacity*/) { return Alloc<TAVLIBSZHASH>(); }
void TAVLIBSzListFree(TAVLIBSZLIST* list) { delete list; }
void TAVLIBSzHashFree(TAVLIBSZHASH* hash) { delete hash; }

int TAVLIBSzListPush(TAVLIBSZLIST** list, const char* text) {
  if (list == nullptr || *list == nullptr || text == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    (*list)->entries.emplace_back(text);
    return static_cast<int>((*list)->entries.size());
  });
}

const char* TAVLIBSzListGet(const TAVLIBSZLIST* list, int index) {
  if (list == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return nullptr;
  }
  if (index < 0 || static_cast<size_t>(index) >= list->entries.size()) return nullptr;
  return list->entries[static_cast<size_t>(index)].c_str();
}

void TAVLIBSzListRemoveAll(TAVLIBSZLIST* list) {
  if (list == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return;
  }
  list->entries.clear();
}

int TAVLIBSzHashSetValue(TAVLIBSZHASH** hash, const char* key, const char* value) {
  if (hash == nullptr || *hash == nullptr || key == nullptr || value == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    (*hash)->Set(key, value);
    return 1;
  });
}

const char* TAVLIBSzHashGetValue(const TAVLIBSZHASH* hash, const char* key) {
  if (hash == nullptr || key == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return nullptr;
  }
  const TAVLIBSZHASH::Entry* entry = hash->Find(key);
  return entry == nullptr ? nullptr : entry->value.c_str();
}

int TAVLIBSzHashEnumKey(const TAVLIBSZHASH* hash, TAVLIBSZLIST** list) {
  if (hash == nullptr || list == nullptr || *list == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    for (const TAVLIBSZHASH::Entry& entry : hash->entries) (*list)->entries.push_back(entry.key);
    return static_cast<int>(hash->entries.size());
  });
}

void TAVLIBHashRemoveAll(TAVLIBSZHASH* hash) {
  if (hash == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return;
  }
  hash->Clear();
}
