#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <tavohacore/frame.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "tests/support/log_capture.h"

namespace {

using test_support::LogCapture;
using test_support::LogLine;
using testing::ElementsAre;
using testing::Field;
using testing::SizeIs;

TEST(Log, HandsEveryLevelToTheLoggerWithFacilityAndPid) {
  LogCapture log;
  const int priorities[] = {LOG_ERR, LOG_WARNING, LOG_NOTICE, LOG_INFO, LOG_DEBUG};
  for (const int priority : priorities) __halog(priority, "[HA-%s] %s:%d: %s", "X", "m", 7, "body");

  const auto lines = log.Take();
  ASSERT_THAT(lines, SizeIs(std::size(priorities)));
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].priority, priorities[i] | LOG_USER);
    EXPECT_EQ(lines[i].pid, getpid());
    EXPECT_EQ(lines[i].module, "m");
    EXPECT_EQ(lines[i].line, 7);
    EXPECT_EQ(lines[i].body, "body");
  }
}

TEST(Log, ShowsTheErrorOfTheFailedCallAndLeavesErrnoAlone) {
  LogCapture log;
  for (const int error : {ENOENT, EXDEV}) {
    errno = error;
    __halog(LOG_ERR, "[HA-%s] %s:%d: errno=%m.\n", "ERROR", "m", 1);
    EXPECT_EQ(errno, error);
  }
  closelog();  // the logger must be reconnected without a trace in errno
  errno = EBUSY;
  __halog(LOG_ERR, "[HA-%s] %s:%d: %m", "ERROR", "m", 1);
  EXPECT_EQ(errno, EBUSY);
  EXPECT_THAT(log.Take(), ElementsAre(Field(&LogLine::body, "errno=No such file or directory.\n"),
                                      Field(&LogLine::body, "errno=Invalid cross-device link.\n"),
                                      Field(&LogLine::body, "Device or resource busy")));
}

TEST(Log, SurvivesALoggerThatIsNotThere) {
  errno = EBUSY;
  __halog(LOG_ERR, "[HA-%s] %s:%d: nobody listens", "ERROR", "m", 1);
  EXPECT_EQ(errno, EBUSY);
}

TEST(Log, CarriesLongBodies) {
  LogCapture log;
  const std::string body(3000, 'x');
  __halog(LOG_ERR, "[HA-%s] %s:%d: %s", "ERROR", "m", 1, body.c_str());
  EXPECT_THAT(log.Take(), ElementsAre(Field(&LogLine::body, body)));
}

}  // namespace
