// White space, the same in every locale.
#ifndef PLATFORM_CORE_WHITE_SPACE_H_
#define PLATFORM_CORE_WHITE_SPACE_H_

#include <string_view>

namespace tavocore {

constexpr bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// `text` without the white space around it.
constexpr std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace tavocore

#endif  // PLATFORM_CORE_WHITE_SPACE_H_
