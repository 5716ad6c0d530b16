// Whether a call left anything behind in its process.
//
//   const HostState before = HostState::Now();
//   ...
//   EXPECT_EQ(HostState::Now(), before);
#ifndef TESTS_SUPPORT_HOST_STATE_H_
#define TESTS_SUPPORT_HOST_STATE_H_

#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace test_support {

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
