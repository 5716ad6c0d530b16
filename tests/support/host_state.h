// Whether a call left anything behind in its process.
#ifndef TESTS_SUPPORT_HOST_STATE_H_
#define TESTS_SUPPORT_HOST_STATE_H_

#include <filesystem>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace test_support {

// This process's open descriptors, each as "NUMBER=WHERE IT LEADS".
inline std::vector<std::string> OpenDescriptors() {
  std::set<std::string> descriptors;
  std::error_code gone;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const std::string target = std::filesystem::read_symlink(entry, gone);
    const bool lists_them = target.ends_with("/fd");
    if (!lists_them) descriptors.insert(entry.path().filename().string() + "=" + target);
  }
  return {descriptors.begin(), descriptors.end()};
}

// Descriptors and what each leads to, children (zombies included), priorities and files, in words.
struct HostState : std::set<std::string> {
  // `directories` are those in which temporary files may stay behind.
  static HostState Now(const std::vector<std::string>& directories = {"/tmp"});
};

inline void PrintTo(const HostState& state, std::ostream* out) {
  for (const std::string& entry : state) *out << "\n  " << entry;
}

}  // namespace test_support

#endif  // TESTS_SUPPORT_HOST_STATE_H_
