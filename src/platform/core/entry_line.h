// The lines of a key/value file.
#ifndef PLATFORM_CORE_ENTRY_LINE_H_
#define PLATFORM_CORE_ENTRY_LINE_H_

#include <optional>
#include <string>
#include <string_view>

namespace tavocore {

// What a line stores. The value is worked out when it is asked for: most lines are only passed by.
struct Entry {
  std::string_view key;
  std::string_view text;  // what follows the "="

  std::string_view value() const;
};

// Returns what a line, with or without its line end, stores; nothing when it is not an entry.
std::optional<Entry> ParseEntry(std::string_view line);

// Returns the line, with its line end, that stores the pair: `format` with its two "%s" replaced.
// Returns nothing when the format is not of that kind, or when reading the line would not give
// exactly this pair back.
std::optional<std::string> FormatEntry(std::string_view format, std::string_view key,
                                       std::string_view value);

}  // namespace tavocore

#endif  // PLATFORM_CORE_ENTRY_LINE_H_
