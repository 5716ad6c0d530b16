#include "words.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

namespace tavohactl {
namespace {

// The number of characters to insert, remove, replace or swap with their neighbour to get from one
// word to the other.
size_t EditDistance(std::string_view from, std::string_view to) {
  std::vector<std::vector<size_t>> cost(from.size() + 1, std::vector<size_t>(to.size() + 1));
  for (size_t i = 0; i <= from.size(); ++i) cost[i][0] = i;
  std::iota(cost[0].begin(), cost[0].end(), 0);
  for (size_t i = 1; i <= from.size(); ++i) {
    for (size_t j = 1; j <= to.size(); ++j) {
      const size_t replaced = cost[i - 1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, replaced});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
        cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
      }
    }
  }
  return cost[from.size()][to.size()];
}

}  // namespace

std::string Suggestion(std::string_view word, const std::vector<std::string>& candidates) {
  // Where more than about a third of the letters differ, it is a guess and no help.
  size_t nearest = std::max<size_t>(1, word.size() / 3) + 1;
  const std::string* suggestion = nullptr;
  for (const std::string& candidate : candidates) {
    // A word that was only begun is near, however much of it is missing.
    const size_t distance =
        word.size() > 1 && candidate.starts_with(word) ? 1 : EditDistance(word, candidate);
    if (distance >= nearest) continue;
    nearest = distance;
    suggestion = &candidate;
  }
  return suggestion == nullptr ? std::string() : fmt::format("; did you mean \"{}\"?", *suggestion);
}

}  // namespace tavohactl
