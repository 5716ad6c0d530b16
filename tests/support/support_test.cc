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
  WriteFile("/tmp/left", "");
  dup(0);
  const pid_t zombie = fork();
  if (zombie == 0) _exit(0);
  waitid(P_PID, static_cast<id_t>(zombie), nullptr, WEXITED | WNOWAIT);
  HostState left = HostState::Now();
  for (const std::string& entry : before) EXPECT_EQ(left.erase(entry), 1U) << entry;
  EXPECT_THAT(left,
              ElementsAre(MatchesRegex("child .* Z"), StartsWith("descriptor "), "file /tmp/left"));
}

}  // namespace
