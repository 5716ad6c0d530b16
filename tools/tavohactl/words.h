// Helping with words that are not quite right.
#ifndef TAVOHACTL_WORDS_H_
#define TAVOHACTL_WORDS_H_

#include <string>
#include <string_view>
#include <vector>

namespace tavohactl {

// Returns "; did you mean "WORD"?" with the candidate that is nearest to `word`, or an empty text
// when none is near.
std::string Suggestion(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace tavohactl

#endif  // TAVOHACTL_WORDS_H_
