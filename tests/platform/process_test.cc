#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr char kShell[] = "/bin/sh";
constexpr char kTool[] = "/usr/bin/tool";

int Execute(const char* script) { return TAVLIBExec(kShell, "-c", script, nullptr, nullptr); }
FILE* Open(const char* script) { return TAVLIBPopen(kShell, "r", "-c", script, nullptr); }

// What a shell script prints, and its wait status.
std::pair<std::string, int> Read(const char* script) {
  FILE* const stream = Open(script);
  if (stream == nullptr) return {"(not started)", -1};
  std::string text;
  for (int c = getc(stream); c != EOF; c = getc(stream)) text += static_cast<char>(c);
  return {text, TAVLIBPclose(stream)};
}

TEST(Process, GivesTrueStatuses) {
  WriteFile("/tmp/plain", "#!/bin/sh\n");
  EXPECT_EQ(Execute("exit 3"), 3);
  EXPECT_EQ(Execute("kill -9 $$"), 128 + SIGKILL);
  EXPECT_THAT(Read("echo text; exit 3"), Pair("text\n", 3 << 8));
  EXPECT_THAT(Read("kill -9 $$"), Pair("", SIGKILL));
  for (const auto& [path, error] :
       {std::pair("/usr/bin/none", ENOENT), {"/tmp/plain", EACCES}, {"/tmp", EACCES}}) {
    TAVLIBErrSetEx(0, "", 0);
    EXPECT_EQ(TAVLIBExec(path, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(TAVLIBErrGet(), 0x0300);
    EXPECT_EQ(TAVLIBExecl(path, 187, "x", nullptr), -1);
    EXPECT_EQ(TAVLIBPopen(path, "r", nullptr), nullptr);
    EXPECT_EQ(errno, error) << path;
  }
}

TEST(Process, PassesArgumentsUntouchedAndNothingElse) {
  ScriptedTool tool(kTool);
  tool.Answer({{}});
  open("/etc/passwd", O_RDONLY);  // not close-on-exec
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

  std::vector<std::string> lines;
  for (const ToolCall& call : TakeToolCalls()) {
    lines.push_back(call.CommandLine());
    SCOPED_TRACE(lines.back());
    EXPECT_EQ(call.signals, kNoSignals);
    EXPECT_THAT(call.environment, Contains("OCF_ROOT=/usr/lib/ocf"));
    EXPECT_THAT(
        call.descriptors,
        ElementsAre("0=/dev/null", StartsWith(lines.size() == 5 ? "1=pipe:" : "1=/dev/null"),
                    "2=/dev/null"));
  }
  EXPECT_THAT(lines,
              ElementsAre("/usr/bin/tool 'a b' $HOME '' *", "/usr/bin/tool 1 2 3 4",
                          "/usr/bin/tool 1", "/usr/bin/tool 1 2 3 4 5 6", "/usr/bin/tool -1 -S"));
}

TEST(Process, ThrownAwayStatusesAreKeptWhileProgramsRun) {
  signal(SIGCHLD, SIG_IGN);
  const HostState before = HostState::Now();
  std::vector<std::thread> threads;
  for (int thread = 1; thread <= 4; ++thread) {
    threads.emplace_back([thread] {
      const std::string script = "exit " + std::to_string(thread);
      for (int run = 0; run < 15; ++run) {
        EXPECT_EQ(Execute(script.c_str()), thread);
        EXPECT_EQ(Read(script.c_str()).second, thread << 8);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  // A child of the host that ends while a program of ours runs leaves no zombie.
  FILE* const stream = Open("exit 5");
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitid(P_PID, static_cast<id_t>(child), nullptr, WEXITED | WNOWAIT);
  EXPECT_EQ(TAVLIBPclose(stream), 5 << 8);
  EXPECT_EQ(HostState::Now(), before);
  EXPECT_EQ(signal(SIGCHLD, SIG_DFL), SIG_IGN);
}

TEST(Process, LeavesTheHostItsDispositionAndItsChildren) {
  signal(SIGCHLD, SIG_IGN);
  FILE* stream = Open("exit 5");
  const auto handler = [](int) {};
  signal(SIGCHLD, handler);
  EXPECT_EQ(TAVLIBPclose(stream), 5 << 8);
  EXPECT_EQ(signal(SIGCHLD, SIG_DFL), static_cast<sighandler_t>(handler)) << "set meanwhile";

  stream = Open("exit 5");
  EXPECT_GT(waitpid(-1, nullptr, 0), 0);
  EXPECT_EQ(TAVLIBPclose(stream), -1) << "the host has reaped it";
  EXPECT_EQ(TAVLIBErrGet(), 0x0300);
}

TEST(Process, WhatAHostWritesToItsMissingOutputDoesNotEndUpInAPipe) {
  const auto host = [] {
    for (const int fd : {0, 1, 2}) close(fd);
    if (Read("readlink /proc/self/fd/0 /proc/self/fd/2").first != "/dev/null\n/dev/null\n")
      _exit(2);
    FILE* const stream = Open("exit 0");
    for (const int fd : {0, 1, 2}) {
      if (fcntl(fd, F_GETFD) != -1) _exit(1);
    }
    _exit(TAVLIBPclose(stream));
  };
  EXPECT_EXIT(host(), ExitedWithCode(0), "");
}

TEST(Process, AReaderThatStopsEarlyEndsTheProgramAndLeavesNothing) {
  const HostState before = HostState::Now();
  FILE* const stream = Open("while :; do echo text; done");
  FILE* const other = Open("echo other");
  char line[16];
  EXPECT_STREQ(fgets(line, sizeof line, stream), "text\n");
  EXPECT_EQ(TAVLIBPclose(stream), SIGPIPE);
  EXPECT_EQ(TAVLIBPclose(stream), -1);  // it is gone
  EXPECT_STREQ(fgets(line, sizeof line, other), "other\n");
  EXPECT_EQ(TAVLIBPclose(other), 0);
  EXPECT_EQ(HostState::Now(), before);
}

}  // namespace
