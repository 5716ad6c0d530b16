#include "simcluster/root/private_root.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/support/files.h"

namespace {

using simcluster::Error;
using test_support::Exists;
using test_support::ListDirectory;
using test_support::ReadFile;

constexpr char kMark[] = "private-root-test";
constexpr const char* kWritable[] = {"/usr/bin/",       "/usr/lib/ocf/",  "/usr/tavo/tavoha/etc/",
                                     "/etc/",           "/etc.defaults/", "/var/lib/ha/",
                                     "/var/run/",       "/tmp/",          "/run/",
                                     "/usr/local/bin/", "/dev/shm/",      "/root/"};

// The checks from inside. Returns the first that fails.
std::string WhatIsWrongInside() {
  char name[64] = "";
  gethostname(name, sizeof name);
  if (strcmp(name, "nas-x") != 0) return std::string("the host name is ") + name;
  if (!ListDirectory("/tmp").empty() && !std::string(TEST_SOURCE_DIRECTORY).starts_with("/tmp/")) {
    return "/tmp is the machine's";
  }
  for (const char* directory : kWritable) {
    std::error_code ignored;
    std::filesystem::create_directories(directory, ignored);
    std::ofstream file(directory + std::string(kMark));
    if (!(file << "x")) return std::string("cannot write to ") + directory;
  }
  if (unlink("/etc/passwd") != 0) return "cannot remove a file of the machine";
  if (!Exists(TEST_SOURCE_DIRECTORY "/CMakeLists.txt"))
    return "the visible directory does not show";
  if (system("/bin/true </dev/null >/dev/null") != 0) return "the machine's programs do not run";
  const int log = socket(AF_UNIX, SOCK_DGRAM, 0);
  const sockaddr_un address = {AF_UNIX, "/dev/log"};
  if (bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return "/dev/log is not free";
  }
  return simcluster::EnterOwnNetwork();
}

void BecomeNobody() {
  constexpr int kNobody = 65534;
  if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(1);
  prctl(PR_SET_DUMPABLE, 1);  // as after an exec: /proc/self belongs to the user
}

// Enters a root and runs the checks, in a process of their own. Returns what that found wrong.
std::string CheckInside(bool as_nobody) {
  int ends[2];
  if (pipe(ends) != 0) return strerror(errno);
  const pid_t child = fork();
  if (child == 0) {
    if (as_nobody) BecomeNobody();
    Error error =
        simcluster::EnterPrivateRoot({.host_name = "nas-x", .visible = {TEST_SOURCE_DIRECTORY}});
    if (error.empty()) error = WhatIsWrongInside();
    _exit(write(ends[1], error.data(), error.size()) < 0 ? 1 : 0);
  }
  close(ends[1]);
  char found[4096] = "";
  const ssize_t length = read(ends[0], found, sizeof found - 1);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 && length >= 0 ? found : "the process inside ended by itself";
}

class PrivateRoot : public testing::TestWithParam<bool> {};

TEST_P(PrivateRoot, IsWholeInsideAndLeavesTheMachineAsItWas) {
  const bool as_nobody = GetParam();
  if (as_nobody && geteuid() != 0) GTEST_SKIP() << "runs as an ordinary user already";
  const std::string mounts = ReadFile("/proc/self/mounts");
  const std::string users = ReadFile("/etc/passwd");
  char name[64] = "", name_after[64] = "";
  gethostname(name, sizeof name);

  const std::string wrong = CheckInside(as_nobody);
  if (as_nobody && wrong.find("get namespaces") != std::string::npos) {
    GTEST_SKIP() << "this kernel gives users no namespaces: " << wrong;
  }
  EXPECT_EQ(wrong, "");

  gethostname(name_after, sizeof name_after);
  EXPECT_STREQ(name_after, name);
  EXPECT_EQ(ReadFile("/proc/self/mounts"), mounts);
  EXPECT_EQ(ReadFile("/etc/passwd"), users);
  for (const char* directory : kWritable) EXPECT_FALSE(Exists(directory + std::string(kMark)));
}

INSTANTIATE_TEST_SUITE_P(, PrivateRoot, testing::Values(false, true),
                         [](const auto& user) { return user.param ? "AsNobody" : "AsCaller"; });

TEST(PrivateRootErrors, SayWhatCouldNotBeShown) {
  const pid_t child = fork();
  if (child == 0) {
    const Error error = simcluster::EnterPrivateRoot({.visible = {"/no/such/directory"}});
    _exit(error == "private root: cannot find /no/such/directory: No such file or directory" ? 0
                                                                                             : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
