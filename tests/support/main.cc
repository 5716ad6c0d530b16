// Runs a test program's tests in a private root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string_view>

#include "simcluster/root/private_root.h"

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // CTest asks for the names of the tests before it runs each in a process of its own.
  if (!testing::GTEST_FLAG(list_tests)) {
    const simcluster::Error error = simcluster::EnterPrivateRoot(
        {.host_name = "nas-a", .visible = {TEST_SOURCE_DIRECTORY, TEST_BUILD_DIRECTORY}});
    if (!error.empty()) {
      fprintf(stderr, "%s\n", error.c_str());
      return 1;
    }
  }
  return RUN_ALL_TESTS();
}
