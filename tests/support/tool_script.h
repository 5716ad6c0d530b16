// The files through which a test and the tools that it scripts talk, in /run/tools of the private
// root. A record is a run of fields "LENGTH:BYTES", so that a field holds any bytes, be it a
// record.
#ifndef TESTS_SUPPORT_TOOL_SCRIPT_H_
#define TESTS_SUPPORT_TOOL_SCRIPT_H_

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

inline constexpr char kToolDirectory[] = "/run/tools";
inline constexpr char kToolLock[] = "/run/tools/lock";    // held while any file here is in use
inline constexpr char kToolCalls[] = "/run/tools/calls";  // a record a call: see ToolCall

// Where the script of the tool at `path` is kept: patterns of arguments, each with the answers
// behind it. A pattern and an answer (see ToolAnswer) are records.
inline std::string ToolScriptPath(std::string path) {
  std::ranges::replace(path, '/', '\\');
  return std::string(kToolDirectory) + "/script" + path;
}

using Fields = std::vector<std::string>;

inline std::string Pack(const Fields& fields) {
  std::string record;
  for (const std::string& field : fields) {
    record.append(std::to_string(field.size())).append(":").append(field);
  }
  return record;
}

inline Fields Unpack(std::string_view record) {
  Fields fields;
  while (!record.empty()) {
    const size_t start = record.find(':') + 1;
    fields.emplace_back(record.substr(start, std::stoul(std::string(record.substr(0, start - 1)))));
    record.remove_prefix(start + fields.back().size());
  }
  return fields;
}

}  // namespace test_support

#endif  // TESTS_SUPPORT_TOOL_SCRIPT_H_
