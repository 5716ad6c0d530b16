#include "platform/core/entry_line.h"

#include <algorithm>

#include "platform/core/white_space.h"

namespace tavocore {

namespace {

// Returns `format` with its two "%s" replaced. It never reaches printf: it is a caller's text.
std::optional<std::string> Substitute(std::string_view format, std::string_view key,
                                      std::string_view value) {
  const size_t key_at = format.find("%s");
  const size_t value_at = format.find("%s", key_at + 2);
  if (std::ranges::count(format, '%') != 2 || value_at == std::string_view::npos) {
    return std::nullopt;
  }
  std::string text(format.substr(0, key_at));
  text += key;
  text += format.substr(key_at + 2, value_at - key_at - 2);
  text += value;
  text += format.substr(value_at + 2);
  return text;
}

}  // namespace

std::string_view Entry::value() const {
  const std::string_view trimmed = Trimmed(text);
  const bool quoted = trimmed.size() >= 2 && trimmed.front() == '"' && trimmed.back() == '"';
  const std::string_view whole = quoted ? trimmed.substr(1, trimmed.size() - 2) : text;
  return whole.substr(0, whole.find('\0'));
}

std::optional<Entry> ParseEntry(std::string_view line) {
  if (line.ends_with('\n')) line.remove_suffix(1);
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  const std::string_view key = Trimmed(line.substr(0, equals));
  if (key.empty() || key.front() == '#') return std::nullopt;
  return Entry{key, line.substr(equals + 1)};
}

std::optional<std::string> FormatEntry(std::string_view format, std::string_view key,
                                       std::string_view value) {
  std::optional<std::string> line = Substitute(format, key, value);
  if (!line || line->find('\n') != line->size() - 1) return std::nullopt;
  const std::optional<Entry> stored = ParseEntry(*line);
  if (!stored || stored->key != key || stored->value() != value) return std::nullopt;
  return line;
}

}  // namespace tavocore
