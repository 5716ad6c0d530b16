// The measuring instruments, measured.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "tests/support/files.h"
#include "tests/support/host_state.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_tool.h"
#include "tests/support/virtual_clock.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace test_support;

// Runs a command line and returns what it printed, with its wait status.
std::pair<std::string, int> RunTool(const std::string& command) {
  FILE* pipe = popen(("exec " + command).c_str(), "r");
  std::string output;
  for (int c; (c = getc(pipe)) != EOF;) output.push_back(static_cast<char>(c));
  return {output, pclose(pipe)};
}

TEST(LogCapture, LosesNoLineOfAFastWriterAndTakesThemApart) {
  LogCapture log;
  for (int i = 0; i < 500; ++i) syslog(LOG_ERR, "[HA-ERROR] conf:%d: number\n%d", 7, i);
  EXPECT_EQ(log.Take().size(), 500u);
  EXPECT_THAT(log.Take(), ElementsAre());
  syslog(LOG_INFO, "[HA-INFO] node:12: node:1. crmst:0x4");
  syslog(LOG_ERR, "no form");
  const std::vector<LogLine> lines = log.Take();
  EXPECT_THAT(lines, ElementsAre(Logged("INFO", "node", HasSubstr("crmst")), testing::_));
  EXPECT_EQ(lines[0].line, 12);
  EXPECT_EQ(lines[1].body, "no form");
}

TEST(VirtualClock, IsWhatSharedLibrariesSeeAndMovesByPausesAlone) {
  const auto nanosleep_of_libraries =
      reinterpret_cast<decltype(&clock_nanosleep)>(dlsym(RTLD_DEFAULT, "clock_nanosleep"));
  std::vector<size_t> numbers;
  VirtualClock clock([&](size_t number) { numbers.push_back(number); });
  timespec end{};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_sec += 3600;
  nanosleep_of_libraries(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr);
  const timespec length = {0, 100000000};
  nanosleep_of_libraries(CLOCK_MONOTONIC, 0, &length, nullptr);
  nanosleep_of_libraries(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr);
  EXPECT_THAT(clock.pauses(), ElementsAre(3600, 0.1, 0));
  EXPECT_THAT(numbers, ElementsAre(1, 2, 3));
}

TEST(ScriptedTool, AnswersByArgumentsAndByTurnWithAnyBytes) {
  ScriptedTool tool("/usr/bin/some-tool");
  EXPECT_EQ(WEXITSTATUS(RunTool("some-tool").second), 99);
  const std::string noise("a\0b:,\xff", 6);
  tool.Answer({{.output = noise}});
  tool.AnswerTo({"-x", "*"}, {{.exit_status = 1}, {.kill_signal = SIGKILL}, {.output = "last"}});
  using Result = std::pair<std::string, int>;
  EXPECT_EQ(RunTool("/usr/bin/some-tool"), Result(noise, 0));
  EXPECT_EQ(RunTool("some-tool -x 1"), Result("", 1 << 8));
  EXPECT_EQ(RunTool("some-tool -x 2"), Result("", SIGKILL));
  EXPECT_EQ(RunTool("some-tool -x"), Result(noise, 0));
  EXPECT_EQ(RunTool("some-tool -x ''"), Result("last", 0));
  EXPECT_EQ(RunTool("some-tool -x ''"), Result("last", 0));
  tool.AnswerTo({"-x", "*"}, {{.output = "anew"}});
  EXPECT_EQ(RunTool("some-tool -x 3"), Result("anew", 0));
  EXPECT_THAT(
      TakeCommandLines(),
      ElementsAre("/usr/bin/some-tool", "/usr/bin/some-tool", "/usr/bin/some-tool -x 1",
                  "/usr/bin/some-tool -x 2", "/usr/bin/some-tool -x", "/usr/bin/some-tool -x ''",
                  "/usr/bin/some-tool -x ''", "/usr/bin/some-tool -x 3"));
}

TEST(ScriptedTool, SeesHowItWasStarted) {
  ScriptedTool("/opt-tools/tool").Answer({{}});
  signal(SIGUSR1, SIG_IGN);
  setenv("OCF_ROOT", "/usr/lib/ocf", 1);
  RunTool("/opt-tools/tool a 5>/tmp/open </dev/null");
  const std::vector<ToolCall> calls = TakeToolCalls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_THAT(calls[0].arguments, ElementsAre("/opt-tools/tool", "a"));
  EXPECT_EQ(calls[0].environment.at("OCF_ROOT"), "/usr/lib/ocf");
  EXPECT_EQ(calls[0].descriptors.at(0), "/dev/null");
  EXPECT_EQ(calls[0].descriptors.at(5), "/tmp/open");
  EXPECT_THAT(calls[0].ignored_signals, ElementsAre(SIGUSR1));
  EXPECT_THAT(calls[0].blocked_signals, ElementsAre());
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
  siginfo_t ended;
  waitid(P_PID, static_cast<id_t>(zombie), &ended, WEXITED | WNOWAIT);
  EXPECT_NE(HostState::Now(), before);
  waitpid(zombie, nullptr, 0);
  EXPECT_EQ(HostState::Now(), before);
}

}  // namespace
