// Helping with words that are not quite right.
#ifndef TAVOHACTL_WORDS_H_
#define TAVOHACTL_WORDS_H_

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string>
#include <string_view>
#include <vector>

#include "command.h"

namespace tavohactl {

// Returns "; did you mean "WORD"?" with the candidate that is nearest to `word`, or an empty text
// when none is near.
std::string Suggestion(std::string_view word, const std::vector<std::string>& candidates);

// Returns the row of a table whose name is `word`. Throws WrongUse when there is none; `what` says
// what the words are.
template <typename Table>
const auto& Choose(const Table& table, std::string_view word, std::string_view what) {
  std::vector<std::string> names;
  for (const auto& row : table) {
    if (word == row.name) return row;
    names.emplace_back(row.name);
  }
  const std::string suggestion = Suggestion(word, names);
  throw WrongUse(fmt::format(
      "no such {}: {}{}", what, word,
      suggestion.empty() ? fmt::format(" (there are {})", fmt::join(names, ", ")) : suggestion));
}

}  // namespace tavohactl

#endif  // TAVOHACTL_WORDS_H_
