// The measuring instruments, measured: that what they must catch is caught.
#include <syslog.h>

#include "tests/support/test.h"

namespace {

using namespace test_support;

TEST(LogCapture, LosesNoLineOfAFastWriterAndShowsOneOfNoForm) {
  LogCapture log;
  openlog(nullptr, LOG_PID, LOG_USER);
  std::string expected;
  for (int i = 1; i <= 500; ++i) {
    syslog(LOG_ERR, "[HA-ERROR] conf:%d: number\n%d", i, i);
    expected += (i > 1 ? "; ERROR conf: number\n" : "ERROR conf: number\n") + std::to_string(i);
  }
  EXPECT_EQ(log.Take(), expected);
  for (const char* line : {"no form", "[HA-INFO] m:7: low", "[HA-ERROR] m:0: no line"}) {
    syslog(LOG_ERR, "%s", line);
    EXPECT_THAT(log.Take("conf"), AllOf(StartsWith("<11>"), EndsWith(line)));
  }
}

TEST(HostState, ShowsEachKindOfLeak) {
  const HostState before = HostState::Now();
  EXPECT_EQ(HostState::Now(), before);
  WriteFile("/tmp/left", "");
  EXPECT_NE(HostState::Now(), before);
  unlink("/tmp/left");
  const int open = dup(0);
  EXPECT_NE(HostState::Now(), before);
  close(open);
  const pid_t zombie = fork();
  if (zombie == 0) _exit(0);
  waitid(P_PID, static_cast<id_t>(zombie), nullptr, WEXITED | WNOWAIT);
  EXPECT_NE(HostState::Now(), before);
  waitpid(zombie, nullptr, 0);
  EXPECT_EQ(HostState::Now(), before);
}

}  // namespace
