// What nearly every test needs.
#ifndef TESTS_SUPPORT_TEST_H_
#define TESTS_SUPPORT_TEST_H_

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/host_state.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_tool.h"
#include "tests/support/virtual_clock.h"

namespace test_support {

using namespace testing;

}  // namespace test_support

#endif  // TESTS_SUPPORT_TEST_H_
