#include "tests/support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace test_support {

namespace fs = std::filesystem;

void WriteFile(const std::string& path, std::string_view content) {
  std::error_code ignored;
  fs::create_directories(fs::path(path).parent_path(), ignored);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  EXPECT_TRUE(file) << "cannot write " << path << ": " << strerror(errno);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  if (file) content << file.rdbuf();
  if (!file.is_open() || content.bad()) return "(cannot be read: " + path + ")";
  return content.str();
}

bool Exists(const std::string& path) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(path, ignored));
}

std::vector<std::string> ListDirectory(const std::string& path) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(path, error)) {
    names.push_back(entry.path().filename());
  }
  EXPECT_FALSE(error) << "cannot list " << path << ": " << error.message();
  std::ranges::sort(names);
  return names;
}

}  // namespace test_support
