// A simulated cluster, started by its launcher from outside of any private root.
#ifndef TESTS_SIMCLUSTER_LAUNCHED_H_
#define TESTS_SIMCLUSTER_LAUNCHED_H_

#include <cstdlib>

#include "tests/support/test.h"

namespace test_support {

class Launched : public Test {
 protected:
  // The directory is everybody's, since anybody may be made the user who starts the cluster.
  ShellResult Start() {
    char name[] = "/tmp/simcluster_test.XXXXXX";
    scratch_ = mkdtemp(name);
    chmod(name, 0777);
    return Run("start");
  }
  void TearDown() override {
    if (scratch_.empty()) return;
    EXPECT_EQ(Do("stop"), "");
    std::filesystem::remove_all(scratch_);
  }

  std::string Command(const std::string& arguments) const {
    return user_ + SIMCLUSTER_PROGRAM " --state " + scratch_ + "/cluster " + arguments;
  }
  ShellResult Run(const std::string& arguments) const { return Shell(Command(arguments)); }
  std::string Do(const std::string& arguments) const { return Run(arguments).output; }

  std::string user_, scratch_;
};

}  // namespace test_support

#endif  // TESTS_SIMCLUSTER_LAUNCHED_H_
