// Whether a call left anything behind in its process.
//
//   const HostState before = HostState::Now();
//   ...
//   EXPECT_EQ(HostState::Now(), before);
#ifndef TESTS_SUPPORT_HOST_STATE_H_
#define TESTS_SUPPORT_HOST_STATE_H_

#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace test_support {

struct HostState {
  // `directories` are those in which temporary files may stay behind.
  static HostState Now(const std::vector<std::string>& directories = {"/tmp"});

  std::map<int, std::string> descriptors;  // what each leads to
  std::set<std::string> children;          // "PID STATE NAME", zombies (Z) included
  int nice = 0;
  int io_priority = 0;
  std::string oom_score_adj;
  std::set<std::string> files;

  bool operator==(const HostState&) const = default;
};

void PrintTo(const HostState& state, std::ostream* out);

}  // namespace test_support

#endif  // TESTS_SUPPORT_HOST_STATE_H_
