#include <gtest/gtest.h>
#include <tavohacore/state.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace {

TEST(Environment, LacksNothingAfterwardsAndGainsNothingTwice) {
  const std::string ours = "/usr/bin:/usr/tavo/tavoha/bin:/usr/tavo/tavoha/sbin:";
  const std::pair<const char*, std::string> cases[] = {
      {nullptr, ours + ":/usr/local/bin"},
      {"/bin", ours + "/bin:/usr/local/bin"},
      {"/bin:/usr/bin", ours + "/bin:/usr/bin:/usr/local/bin"},
      {"/usr/tavo/tavoha/bin:/x:/usr/local/bin",
       "/usr/bin:/usr/tavo/tavoha/sbin:/usr/tavo/tavoha/bin:/x:/usr/local/bin"},
      {"/x:/usr/local/bin:/usr/bin:/usr/tavo/tavoha/bin:/usr/tavo/tavoha/sbin:/",
       "/x:/usr/local/bin:/usr/bin:/usr/tavo/tavoha/bin:/usr/tavo/tavoha/sbin:/"},
  };
  for (const auto& [before, after] : cases) {
    if (before == nullptr ? unsetenv("PATH") : setenv("PATH", before, 1)) FAIL();
    setenv("OCF_ROOT", "/old", 1);
    for (int call = 0; call < 2; ++call) {
      EXPECT_EQ(HAEnvPathInit(), 0);
      EXPECT_EQ(getenv("PATH"), after);
      EXPECT_STREQ(getenv("OCF_ROOT"), "/usr/tavo/tavoha/lib/ocf/");
    }
  }
}

}  // namespace
