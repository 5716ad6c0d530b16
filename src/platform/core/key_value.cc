#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/entry_line.h"
#include "platform/core/lines.h"
#include "platform/core/lists.h"
#include "platform/core/record.h"
#include "platform/core/replacement.h"
#include "platform/safe_open.h"

namespace {

using tavocore::Entry;

constexpr char kModule[] = "key_value";
constexpr char kDefaultFormat[] = "%s=\"%s\"\n";

constexpr int kDone = 0;

// Records `error`; returns whether there was none.
bool Succeeded(int error) {
  if (error != 0) TAVLIBErrSetEx(error, kModule, __LINE__);
  return error == 0;
}

// Hands the entries of a file to `take` in their order, until it returns false; only those whose
// line holds `text` are looked for. Returns 0, or the code to record.
template <typename Take>
int ReadEntries(const char* path, const char* text, Take take) {
  // Not blocking: a FIFO that somebody put there must not keep us waiting.
  const platform::UniqueFd file = platform::SafeOpen(path, O_RDONLY | O_NONBLOCK);
  if (!file) {
    const bool missing =
        errno == ENOENT || errno == ENOTDIR || (errno == ELOOP && platform::IsBelowTmp(path));
    return missing ? tavocore::kErrorNoFile : tavocore::kErrorOpen;
  }
  tavocore::Lines lines(file.get());
  while (lines.NextWith(text)) {
    const std::optional<Entry> entry = tavocore::ParseEntry(lines.line());
    if (entry && !take(*entry)) return kDone;
  }
  return lines.failed() ? tavocore::kErrorRead : kDone;
}

// Finds the first entry of `key` and hands its value to `use`. Returns 1 when there is one, 0 when
// there is none, -1 on failure, both with a record.
template <typename Use>
int UseValue(const char* path, const char* key, Use use) {
  bool found = false;
  const int error = ReadEntries(path, key, [&](const Entry& entry) {
    if (entry.key != key) return true;
    use(entry.value());
    found = true;
    return false;
  });
  if (!Succeeded(error)) return -1;
  if (!found) TAVLIB_RECORD(kErrorNoKey);
  return found ? 1 : 0;
}

// Lines to write, by their keys.
class NewLines {
 public:
  // Returns false when the pair cannot be stored in this form.
  bool Add(const char* format, std::string_view key, std::string_view value) {
    std::optional<std::string> text = tavocore::FormatEntry(format, key, value);
    if (!text) return false;
    index_.emplace(key, lines_.size());
    lines_.push_back({std::move(*text), false});
    return true;
  }

  bool AddAll(const char* format, const TAVLIBSZHASH& hash) {
    return std::ranges::all_of(hash.entries, [&](const TAVLIBSZHASH::Entry& entry) {
      return Add(format, entry.key, entry.value);
    });
  }

  // Returns what takes the place of a line of the old file: itself when its key is none of ours,
  // our line when it is the first of its key, nothing when that has been written already.
  std::string_view InPlaceOf(std::string_view old_line) {
    const std::optional<Entry> entry = tavocore::ParseEntry(old_line);
    if (!entry) return old_line;
    const auto found = index_.find(entry->key);
    return found == index_.end() ? old_line : Take(lines_[found->second]);
  }

  // Returns, one after the other, the lines that took no line's place.
  std::string Remaining() {
    std::string text;
    for (Line& line : lines_) text += Take(line);
    return text;
  }

 private:
  struct Line {
    std::string text;
    bool written;
  };

  static std::string_view Take(Line& line) {
    if (std::exchange(line.written, true)) return {};
    return line.text;
  }

  std::vector<Line> lines_;
  std::map<std::string_view, size_t> index_;  // keys belong to the caller
};

// Writes the old file with `in_place_of` applied to each line, then the text that `rest` gives.
// Returns 0, or the code to record.
template <typename InPlaceOf, typename Rest>
int Rewrite(const char* path, InPlaceOf in_place_of, Rest rest) {
  tavocore::Replacement file;
  if (const int error = file.Open(path); error != 0) return error;
  bool in_line = false;
  if (file.old_file() >= 0) {
    tavocore::Lines lines(file.old_file());
    while (lines.Next()) {
      const std::string_view line = in_place_of(lines.line());
      if (const int error = file.Write(line); error != 0) return error;
      if (!line.empty()) in_line = !line.ends_with('\n');
    }
    if (lines.failed()) return tavocore::kErrorRead;
  }
  const std::string appended = rest();
  if (in_line && !appended.empty()) {
    if (const int error = file.Write("\n"); error != 0) return error;
  }
  if (const int error = file.Write(appended); error != 0) return error;
  return file.Commit();
}

int WriteLines(const char* path, NewLines& lines) {
  const int error = Rewrite(
      path, [&](std::string_view line) { return lines.InPlaceOf(line); },
      [&] { return lines.Remaining(); });
  return Succeeded(error) ? 1 : -1;
}

const char* FormatOrDefault(const char* format) {
  return format != nullptr ? format : kDefaultFormat;
}

}  // namespace

int TAVLIBFileGetKeyValue(const char* path, const char* key, char* buffer, int size,
                          int /*flags*/) {
  if (path == nullptr || key == nullptr || buffer == nullptr || size < 1) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    return UseValue(path, key, [&](std::string_view value) {
      const size_t length = value.copy(buffer, static_cast<size_t>(size) - 1);
      buffer[length] = '\0';
    });
  });
}

int TAVLIBFileCheckKeyValue(const char* path, const char* key, const char* value, int /*flags*/) {
  if (path == nullptr || key == nullptr || value == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return 0;
  }
  return tavocore::Contain(kModule, 0, [&] {
    bool equal = false;
    UseValue(path, key, [&](std::string_view stored) { equal = stored == value; });
    return equal ? 1 : 0;
  });
}

int TAVLIBFileGetKeys(const char* path, const TAVLIBSZLIST* keys, TAVLIBSZHASH** hash,
                      const char* separator) {
  if (path == nullptr || keys == nullptr || hash == nullptr || *hash == nullptr ||
      separator == nullptr || strcmp(separator, "=") != 0) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    std::vector<std::string_view> wanted(keys->entries.begin(), keys->entries.end());
    int found = 0;
    const char* const text = wanted.size() == 1 ? keys->entries.front().c_str() : "";
    const int error = ReadEntries(path, text, [&](const Entry& entry) {
      if (std::erase(wanted, entry.key) == 0) return true;
      (*hash)->Set(entry.key, entry.value());
      ++found;
      return !wanted.empty();
    });
    return Succeeded(error) ? found : -1;
  });
}

int TAVLIBFileGetPair(const char* path, TAVLIBSZHASH** hash) {
  if (path == nullptr || hash == nullptr || *hash == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    TAVLIBSZHASH read;
    const int error = ReadEntries(path, "", [&](const Entry& entry) {
      // A key with a NUL byte has no name that a caller could ask for.
      if (entry.key.find('\0') == std::string_view::npos) read.Add(entry.key, entry.value());
      return true;
    });
    if (!Succeeded(error)) return -1;
    for (const TAVLIBSZHASH::Entry& entry : read.entries) (*hash)->Set(entry.key, entry.value);
    return static_cast<int>(read.entries.size());
  });
}

int TAVLIBFileSetKeyValue(const char* path, const char* key, const char* value,
                          const char* format) {
  if (path == nullptr || key == nullptr || value == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    NewLines lines;
    if (!lines.Add(FormatOrDefault(format), key, value)) {
      TAVLIB_RECORD(kErrorBadParameter);
      return -1;
    }
    return WriteLines(path, lines);
  });
}

int TAVLIBFileSetKeys(const char* path, const TAVLIBSZHASH* hash, const void* /*reserved*/,
                      const char* format) {
  if (path == nullptr || hash == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    NewLines lines;
    if (!lines.AddAll(FormatOrDefault(format), *hash)) {
      TAVLIB_RECORD(kErrorBadParameter);
      return -1;
    }
    return WriteLines(path, lines);
  });
}

int TAVLIBFileAddSection(const char* path, const char* section, const TAVLIBSZHASH* hash,
                         const char* format) {
  if (path == nullptr || section == nullptr || hash == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    NewLines lines;
    // A name with a "=" would read as an entry, one with a line end as several lines.
    if (strpbrk(section, "=\n") != nullptr || !lines.AddAll(FormatOrDefault(format), *hash)) {
      TAVLIB_RECORD(kErrorBadParameter);
      return -1;
    }
    const int error = Rewrite(
        path, [](std::string_view line) { return line; },
        [&] { return std::string("[").append(section).append("]\n") + lines.Remaining(); });
    return Succeeded(error) ? 1 : -1;
  });
}
