#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "platform/tavlib.h"
#include "tests/support/files.h"
#include "tests/support/host_state.h"
#include "tests/support/scripted_tool.h"

namespace {

using test_support::HostState;
using test_support::ScriptedTool;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kShell[] = "/bin/sh";
constexpr char kTool[] = "/usr/bin/tool";

int Shell(const char* script) { return TAVLIBExec(kShell, "-c", script, nullptr, nullptr); }

// What a shell script prints, and its wait status.
struct Output {
  std::string text;
  int status;
};

Output ReadShell(const char* script) {
  FILE* const stream = TAVLIBPopen(kShell, "r", "-c", script, nullptr);
  if (stream == nullptr) return {"(not started)", -1};
  std::string text;
  for (int c = getc(stream); c != EOF; c = getc(stream)) text += static_cast<char>(c);
  return {text, TAVLIBPclose(stream)};
}

TEST(Process, GivesTrueStatuses) {
  test_support::WriteFile("/tmp/plain", "#!/bin/sh\n");
  EXPECT_EQ(Shell("exit 0"), 0);
  EXPECT_EQ(Shell("exit 3"), 3);
  EXPECT_EQ(Shell("kill -9 $$"), 128 + SIGKILL);
  EXPECT_EQ(ReadShell("echo text; exit 3").status, 3 << 8);
  EXPECT_EQ(ReadShell("kill -9 $$").status, SIGKILL);
  for (const char* path : {"/usr/bin/none", "/tmp/plain", "/tmp"}) {
    SCOPED_TRACE(path);
    TAVLIBErrSetEx(0, "", 0);
    EXPECT_EQ(TAVLIBExec(path, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(TAVLIBErrGet(), 0x0300);
    EXPECT_EQ(TAVLIBExecl(path, 187, "x", nullptr), -1);
    EXPECT_EQ(TAVLIBPopen(path, "r", nullptr), nullptr);
    EXPECT_EQ(errno, std::string(path) == "/usr/bin/none" ? ENOENT : EACCES);
  }
}

TEST(Process, PassesArgumentsUntouchedAndNothingElse) {
  ScriptedTool tool(kTool);
  tool.Answer({{}});
  const int left_open = open("/etc/passwd", O_RDONLY);  // not close-on-exec
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGCHLD, SIG_IGN);
  setenv("OCF_ROOT", "/usr/lib/ocf", 1);
  ASSERT_EQ(TAVLIBFileLock(0x105, 0), 0);

  const char* const argv[] = {kTool, "a b", "$HOME", "", "*", nullptr};
  EXPECT_EQ(TAVLIBExecv(kTool, argv, 1), 0);
  EXPECT_EQ(TAVLIBExec(kTool, "1", "2", "3", "4"), 0);
  EXPECT_EQ(TAVLIBExec(kTool, "1", nullptr, "3", "4"), 0);
  EXPECT_EQ(TAVLIBExecl(kTool, 187, "1", "2", "3", "4", "5", "6", nullptr), 0);
  EXPECT_EQ(TAVLIBPclose(TAVLIBPopen(kTool, "r", "-1", "-S", nullptr)), 0);
  EXPECT_EQ(TAVLIBExecv(kTool, argv, 0), -1);
  // The signals that libc keeps to itself are among these.
  EXPECT_EQ(ReadShell("grep -E 'Sig(Blk|Ign)' /proc/self/status").text,
            "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");

  std::vector<std::string> lines;
  for (const test_support::ToolCall& call : test_support::TakeToolCalls()) {
    lines.push_back(call.CommandLine());
    SCOPED_TRACE(lines.back());
    EXPECT_THAT(call.blocked_signals, IsEmpty());
    EXPECT_THAT(call.ignored_signals, IsEmpty());
    EXPECT_EQ(call.environment.at("OCF_ROOT"), "/usr/lib/ocf");
    ASSERT_EQ(call.descriptors.size(), 3U);
    EXPECT_EQ(call.descriptors.at(0), "/dev/null");
    EXPECT_THAT(call.descriptors.at(1), lines.size() == 5 ? testing::StartsWith("pipe:")
                                                          : testing::StartsWith("/dev/null"));
    EXPECT_EQ(call.descriptors.at(2), "/dev/null");
  }
  EXPECT_THAT(lines,
              ElementsAre("/usr/bin/tool 'a b' $HOME '' *", "/usr/bin/tool 1 2 3 4",
                          "/usr/bin/tool 1", "/usr/bin/tool 1 2 3 4 5 6", "/usr/bin/tool -1 -S"));
  close(left_open);
}

TEST(Process, ThrownAwayStatusesAreKeptWhileProgramsRun) {
  struct sigaction ignored {};
  ignored.sa_handler = SIG_IGN;
  struct sigaction no_zombies {};
  no_zombies.sa_handler = [](int) {};
  no_zombies.sa_flags = SA_NOCLDWAIT | SA_RESTART;
  for (const struct sigaction& host : {ignored, no_zombies}) {
    sigaction(SIGCHLD, &host, nullptr);
    const HostState before = HostState::Now();
    std::vector<std::thread> threads;
    for (int thread = 1; thread <= 4; ++thread) {
      threads.emplace_back([thread] {
        const std::string script = "exit " + std::to_string(thread);
        for (int run = 0; run < 15; ++run) {
          EXPECT_EQ(Shell(script.c_str()), thread);
          EXPECT_EQ(ReadShell(script.c_str()).status, thread << 8);
        }
      });
    }
    for (std::thread& thread : threads) thread.join();

    // A child of the host that ends while a program of ours runs leaves no zombie.
    FILE* const stream = TAVLIBPopen(kShell, "r", "-c", "exit 5", nullptr);
    const pid_t child = fork();
    if (child == 0) _exit(0);
    waitid(P_PID, static_cast<id_t>(child), nullptr, WEXITED | WNOWAIT);
    EXPECT_EQ(TAVLIBPclose(stream), 5 << 8);
    struct sigaction after {};
    sigaction(SIGCHLD, nullptr, &after);
    EXPECT_EQ(after.sa_handler, host.sa_handler);
    EXPECT_EQ(after.sa_flags & SA_NOCLDWAIT, host.sa_flags & SA_NOCLDWAIT);
    EXPECT_EQ(HostState::Now(), before);
  }
}

TEST(Process, KeepsADispositionThatTheHostSetsMeanwhile) {
  signal(SIGCHLD, SIG_IGN);
  FILE* const stream = TAVLIBPopen(kShell, "r", "-c", "exit 5", nullptr);
  const auto handler = [](int) {};
  signal(SIGCHLD, handler);
  EXPECT_EQ(TAVLIBPclose(stream), 5 << 8);
  EXPECT_EQ(signal(SIGCHLD, SIG_DFL), static_cast<sighandler_t>(handler));
}

TEST(Process, FailsWhenTheHostReapsItsChildren) {
  FILE* const stream = TAVLIBPopen(kShell, "r", "-c", "exit 5", nullptr);
  EXPECT_GT(waitpid(-1, nullptr, 0), 0);
  EXPECT_EQ(TAVLIBPclose(stream), -1);
  EXPECT_EQ(TAVLIBErrGet(), 0x0300);
}

TEST(Process, WorksInAHostWithoutStandardDescriptors) {
  const pid_t host = fork();
  if (host == 0) {
    const auto all_closed = [] {
      return fcntl(0, F_GETFD) == -1 && fcntl(1, F_GETFD) == -1 && fcntl(2, F_GETFD) == -1;
    };
    for (const int fd : {0, 1, 2}) close(fd);
    const Output output = ReadShell("readlink /proc/self/fd/0 /proc/self/fd/2; cat");
    if (output.text != "/dev/null\n/dev/null\n" || output.status != 0) _exit(1);
    if (Shell("exit 7") != 7) _exit(2);
    // What the host writes to its missing output must not end up in our pipe.
    FILE* const stream = TAVLIBPopen(kShell, "r", "-c", "exit 0", nullptr);
    if (!all_closed() || TAVLIBPclose(stream) != 0) _exit(3);
    _exit(0);
  }
  int status = 0;
  waitpid(host, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(Process, SignalsCutNeitherReadsNorWaitsShort) {
  struct sigaction action {};
  action.sa_handler = [](int) {};  // and no SA_RESTART
  sigaction(SIGALRM, &action, nullptr);
  const itimerval often = {.it_interval = {.tv_sec = 0, .tv_usec = 1000},
                           .it_value = {.tv_sec = 0, .tv_usec = 1000}};
  setitimer(ITIMER_REAL, &often, nullptr);
  const Output output = ReadShell("for i in 1 2 3; do sleep 0.01; echo $i; done; exit 4");
  EXPECT_EQ(output.text, "1\n2\n3\n");
  EXPECT_EQ(output.status, 4 << 8);
  EXPECT_EQ(Shell("sleep 0.02; exit 6"), 6);
}

TEST(Process, AReaderThatStopsEarlyEndsTheProgramAndLeavesNothing) {
  const HostState before = HostState::Now();
  FILE* const stream = TAVLIBPopen(kShell, "r", "-c", "while :; do echo text; done", nullptr);
  FILE* const other = TAVLIBPopen(kShell, "r", "-c", "echo other", nullptr);
  char line[16];
  EXPECT_STREQ(fgets(line, sizeof line, stream), "text\n");
  EXPECT_EQ(TAVLIBPclose(stream), SIGPIPE);
  EXPECT_EQ(TAVLIBPclose(stream), -1);  // it is gone
  EXPECT_STREQ(fgets(line, sizeof line, other), "other\n");
  EXPECT_EQ(TAVLIBPclose(other), 0);
  EXPECT_EQ(HostState::Now(), before);
}

}  // namespace
