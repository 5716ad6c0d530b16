#include <cstring>
#include <string>
#include <string_view>

#include "platform/core/lists.h"
#include "platform/core/record.h"
#include "platform/core/white_space.h"

namespace {

constexpr char kModule[] = "text";

}  // namespace

int TAVLIBStrTrim(const char* source, char* target, int /*reserved0*/, int /*reserved1*/) {
  if (source == nullptr || target == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  const std::string_view text = tavocore::Trimmed(source);
  memmove(target, text.data(), text.size());
  target[text.size()] = '\0';
  return static_cast<int>(text.size());
}

int TAVLIBStrTrimSpace(char* text, int /*reserved*/) { return TAVLIBStrTrim(text, text, 0, 0); }

int TAVLIBStrSep(const char* text, const char* separators, TAVLIBSZLIST** list) {
  if (text == nullptr || separators == nullptr || list == nullptr || *list == nullptr) {
    TAVLIB_RECORD(kErrorBadParameter);
    return -1;
  }
  return tavocore::Contain(kModule, -1, [&] {
    int fields = 0;
    for (const char* field = text; *(field += strspn(field, separators)) != '\0'; ++fields) {
      const size_t length = strcspn(field, separators);
      (*list)->entries.emplace_back(field, length);
      field += length;
    }
    return fields;
  });
}
