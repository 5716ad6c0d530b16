#include "output.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace tavohactl {
namespace {

using Row = std::vector<std::string>;

bool IsControl(char c) { return (c >= 0 && c < ' ') || c == '\x7f'; }

// Columns as wide as their widest cell, two blanks apart; the last one ragged.
std::string Columns(const std::vector<Row>& rows) {
  std::vector<size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], fmt::formatted_size("{}", row[i]));
    }
  }
  std::string text;
  for (const Row& row : rows) {
    for (size_t i = 0; i + 1 < row.size(); ++i) {
      text += fmt::format("{:<{}}  ", row[i], widths[i]);
    }
    text += row.back() + "\n";
  }
  return text;
}

bool IsTable(const Json& value) {
  return value.is_array() && !value.empty() && value.front().is_object();
}

std::string Table(const Json& records) {
  std::vector<Row> rows;
  Row& head = rows.emplace_back();
  for (const auto& [name, value] : records.front().items()) {
    std::string& label = head.emplace_back(Label(name));
    std::transform(label.begin(), label.end(), label.begin(), ::toupper);
  }
  for (const Json& record : records) {
    Row& row = rows.emplace_back();
    for (const auto& [name, value] : record.items()) row.push_back(ValueText(value));
  }
  return Columns(rows);
}

}  // namespace

std::string ValueText(const Json& value) {
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_null() || value.empty()) return "-";
  if (value.is_array()) {
    std::vector<std::string> parts;
    for (const Json& part : value) parts.push_back(ValueText(part));
    return fmt::format("{}", fmt::join(parts, ", "));
  }
  std::string text = value.is_string() ? value.get<std::string>() : value.dump();
  std::replace_if(text.begin(), text.end(), IsControl, '?');
  return text.empty() ? "-" : text;
}

std::string Label(std::string name) {
  std::replace(name.begin(), name.end(), '_', ' ');
  return name;
}

std::string Layout(const Json& record) {
  std::vector<Row> lines;
  std::string tables;
  for (const auto& [name, value] : record.items()) {
    if (IsTable(value)) {
      tables += "\n" + Table(value);
    } else {
      lines.push_back({Label(name) + ":", ValueText(value)});
    }
  }
  if (lines.empty()) tables.erase(0, 1);
  return Columns(lines) + tables;
}

std::string Format(const Answer& answer, bool json) {
  // What is no valid UTF-8 (a file name in an event, say) must not keep the rest from being shown.
  if (json) return answer.record.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
  return answer.text ? *answer.text + "\n" : Layout(answer.record);
}

void Print(const std::string& text) {
  if (fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0) return;
  throw Failure(fmt::format("cannot write to standard output: {}", strerror(errno)));
}

}  // namespace tavohactl
