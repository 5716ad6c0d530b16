// The files through which a test and the tools that it scripts talk, in /run/tools of the private
// root. A record is a run of fields "LENGTH:BYTES,", so that a field holds any bytes.
#ifndef TESTS_SUPPORT_TOOL_SCRIPT_H_
#define TESTS_SUPPORT_TOOL_SCRIPT_H_

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

inline constexpr char kToolDirectory[] = "/run/tools";
inline constexpr char kToolLock[] = "/run/tools/lock";  // held while any file here is in use
inline constexpr char kToolCalls[] = "/run/tools/calls";

// Where the script of the tool at `path` is kept.
inline std::string ToolScriptPath(std::string path) {
  for (char& c : path) {
    if (c == '/') c = '\\';
  }
  return kToolDirectory + std::string("/script") + path;
}

inline void AppendField(std::string_view field, std::string* record) {
  record->append(std::to_string(field.size())).append(":").append(field).append(",");
}

inline void AppendList(const std::vector<std::string>& list, std::string* record) {
  AppendField(std::to_string(list.size()), record);
  for (const std::string& entry : list) AppendField(entry, record);
}

class FieldReader {
 public:
  explicit FieldReader(std::string_view record) : rest_(record) {}

  bool AtEnd() const { return rest_.empty(); }
  std::string_view rest() const { return rest_; }
  std::string Text() {
    const size_t colon = rest_.find(':');
    if (colon == std::string_view::npos) return {};
    const auto length = static_cast<size_t>(atol(std::string(rest_.substr(0, colon)).c_str()));
    std::string field(rest_.substr(colon + 1, length));
    rest_.remove_prefix(std::min(rest_.size(), colon + 1 + length + 1));
    return field;
  }
  int Number() { return atoi(Text().c_str()); }
  std::vector<std::string> List() {
    std::vector<std::string> list(static_cast<size_t>(Number()));
    for (std::string& entry : list) entry = Text();
    return list;
  }

 private:
  std::string_view rest_;
};

}  // namespace test_support

#endif  // TESTS_SUPPORT_TOOL_SCRIPT_H_
