// Files of the private root, in one line each.
#ifndef TESTS_SUPPORT_FILES_H_
#define TESTS_SUPPORT_FILES_H_

#include <string>
#include <string_view>
#include <vector>

namespace test_support {

// Writes the file, after creating the directories on its way. The test fails when it cannot.
void WriteFile(const std::string& path, std::string_view content);
// Returns what the file holds, or "(cannot be read: PATH)", which no expectation equals.
std::string ReadFile(const std::string& path);
// Whether there is something at the path, be it a link that leads nowhere.
bool Exists(const std::string& path);
// The names in a directory, sorted.
std::vector<std::string> ListDirectory(const std::string& path);

}  // namespace test_support

#endif  // TESTS_SUPPORT_FILES_H_
