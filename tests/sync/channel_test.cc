#include <sys/file.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <tavohacore/sync.h>

#include <functional>
#include <utility>

#include "simcluster/root/descriptor.h"
#include "tests/support/test.h"

namespace {

// What happens, once, just before the library locks or writes its command byte.
std::function<void()> before_lock, before_command;

}  // namespace

// The library's calls come here first.
extern "C" int flock(int fd, int operation) noexcept {
  if (before_lock) std::exchange(before_lock, nullptr)();
  return static_cast<int>(syscall(SYS_flock, fd, operation));
}

extern "C" ssize_t write(int fd, const void* bytes, size_t size) {
  if (size == 1 && before_command) std::exchange(before_command, nullptr)();
  return syscall(SYS_write, fd, bytes, size);
}

namespace {

using namespace test_support;
using simcluster::Descriptor;

constexpr char kCommandFifo[] = "/tmp/ha.lsyncd.fifoCmd";
constexpr char kDataFifo[] = "/tmp/ha.lsyncd.fifoData";
constexpr char kLockFile[] = "/tmp/ha.lsyncd.lock";
constexpr char kPidFile[] = "/var/run/ha/lsyncd.pid";

void WriteText(int fd, const std::string& text) {
  EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

// The daemon's side of the channel: a thread that answers each command with what `answer` writes.
class Daemon {
 public:
  enum AfterReply { kStays, kCloses };  // its end of the data FIFO

  Daemon(AfterReply after_reply, std::function<void(char command, int data)> answer) {
    for (const char* path : {kCommandFifo, kDataFifo}) mkfifo(path, 0600);
    WriteFile(kPidFile, std::to_string(getpid()));
    commands_ = Descriptor(open(kCommandFifo, O_RDWR | O_CLOEXEC));
    if (after_reply == kStays) data_ = Descriptor(open(kDataFifo, O_RDWR | O_CLOEXEC));
    thread_ = std::thread([this, answer] {
      for (char command; read(commands_.get(), &command, 1) == 1 && command != '\0';) {
        seen_.push_back(command);
        answer(command, data_ ? data_.get() : Descriptor(open(kDataFifo, O_WRONLY)).get());
      }
    });
  }
  ~Daemon() { Stop(); }

  // Ends the daemon and returns the commands that it saw.
  std::string Stop() {
    if (thread_.joinable()) {
      WriteText(commands_.get(), std::string(1, '\0'));
      thread_.join();
    }
    return seen_;
  }

 private:
  Descriptor commands_, data_;
  std::string seen_;
  std::thread thread_;
};

// The events as "key=value", each ended by ";".
std::string Text(const std::vector<LsyncdEvent>& events) {
  std::string text;
  for (const LsyncdEvent& event : events) text += event.key + "=" + event.value + ";";
  return text;
}

TEST(SyncEvents, AreTheLinesOfTheReplyAndStayInStep) {
  const std::string v255(255, 'v'), v253(253, 'v');
  const struct {
    std::string reply;
    int result;
    std::string events;
  } cases[] = {
      {"2\nk1:true\nk2:false\n", 0, "k1=true;k2=false;"},
      {"3\na:b:c\nno colon\n:x\nleft:over\n", 0, "a=b:c;=x;"},
      {" +1 and more\nkey:\r\n", 0, "key=\r;"},
      {"-1\na:b\n", 0, ""},
      {"99999999999999999999\na:b\n", 0, ""},
      {std::string("2\nnul\0:x\na:b\0c\n", 15), 0, "a=b;"},
      {"3\n" + v253 + ":1\n" + v255 + ":2\nk:" + v253 + "\n", 0, v253 + "=1;k=" + v253 + ";"},
      {"2\nk:" + std::string(3000, 'v') + "\nn:1\n", 0, "k=" + v253 + ";n=1;"},
      {"2\na:b\nhalf", LSYNCD_ERR_LINE_TIMEOUT, "a=b;"},
      {"2", LSYNCD_ERR_LINE_TIMEOUT, ""}};
  std::string reply;
  Daemon daemon(Daemon::kStays, [&](char, int data) { WriteText(data, reply); });
  const HostState before = HostState::Now();
  for (const auto& c : cases) {
    SCOPED_TRACE(reply = c.reply);
    const VirtualClock clock;
    std::vector<LsyncdEvent> events = {{"old", "one"}};
    EXPECT_EQ(HASystemSyncGetEvents(events), c.result);
    EXPECT_EQ(Text(events), "old=one;" + c.events);
    EXPECT_EQ(clock.pauses(), std::vector<double>(c.result == 0 ? 0 : 50, 0.0001));
    EXPECT_EQ(HostState::Now(), before);
  }
}

TEST(SyncEvents, AReplyThatEndsEarlyIsAReadError) {
  for (const std::string reply : {"", "2", "2\na:b\n", "2\na:b\nc:"}) {
    Daemon daemon(Daemon::kCloses, [&](char, int data) { WriteText(data, reply); });
    std::vector<LsyncdEvent> events;
    EXPECT_EQ(HASystemSyncGetEvents(events), LSYNCD_ERR_READ);
    EXPECT_EQ(Text(events), reply.size() > 2 ? "a=b;" : "") << reply;
  }
}

TEST(SyncStatus, OnlyTrueIsTrueAndErrorsAreKeptApart) {
  Daemon daemon(Daemon::kStays, [](char, int data) {
    WriteText(data,
              "11\nk1:true\nk2:false\nk3:True\nk4:true \nk5:1\nk6:\nerror desc:e1\nturned:true\n"
              "error desc:e2:x\nturned:yes\nerror  desc:true\n");
  });
  LsyncdStatus status;
  EXPECT_EQ(HASystemSyncGetStatus(status), 0);
  EXPECT_THAT(
      status.states,
      ElementsAre(Pair("error  desc", true), Pair("k1", true), Pair("k2", false), Pair("k3", false),
                  Pair("k4", false), Pair("k5", false), Pair("k6", false), Pair("turned", false)));
  EXPECT_THAT(status.errorDescs, ElementsAre("e1", "e2:x"));
  EXPECT_FALSE(ToBool(nullptr));

  std::vector<LsyncdEvent> events;
  EXPECT_EQ(HASystemSyncGetEvents(events) + HASystemSyncGetAbondonedEvents(events) +
                HASystemSyncGetComm(events, 0x101),
            0);
  EXPECT_EQ(events.size(), 33u);
  EXPECT_EQ(HASystemSyncCheckConsistency(), 0);
  EXPECT_FALSE(Exists(kLockFile));
  EXPECT_EQ(daemon.Stop(), "\1\2\3\1\4");
}

TEST(SyncChannel, FailsWithTheCodeOfItsStep) {
  char buffer[256];
  int lock = 77, data = 77;
  const auto send = [&] { return SendCmd(1, buffer, sizeof buffer, lock); };
  EXPECT_EQ(send(), LSYNCD_ERR_NOT_RUNNING);
  EXPECT_EQ(lock, 77);
  EXPECT_EQ(HASystemSyncCheckConsistency(), LSYNCD_ERR_NOT_RUNNING);
  EXPECT_FALSE(Exists(kLockFile));
  WriteFile(kPidFile, std::to_string(getpid()));
  const HostState before = HostState::Now();

  EXPECT_EQ(symlink("/etc/planted", kLockFile), 0);
  EXPECT_EQ(send(), LSYNCD_ERR_LOCK_OPEN);
  EXPECT_EQ(lock, -1);
  EXPECT_FALSE(Exists("/etc/planted"));
  unlink(kLockFile);

  EXPECT_EQ(send(), LSYNCD_ERR_DATA_FIFO);
  EXPECT_EQ(GetDataPipe(data), LSYNCD_ERR_DATA_FIFO);
  EXPECT_EQ(data, -1);
  EXPECT_EQ(SystemSyncExit(data, lock), 0);
  mkfifo(kDataFifo, 0600);
  mkfifo(kCommandFifo, 0600);
  EXPECT_EQ(send(), LSYNCD_ERR_CMD_FIFO) << "nobody reads it";
  EXPECT_EQ(SystemSyncExit(-1, lock), 0);
  EXPECT_EQ(SystemSyncExit(-1, -1), -1);
  EXPECT_EQ(errno, ENOENT);

  Descriptor writer(open(kDataFifo, O_RDWR | O_CLOEXEC));
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, nullptr);
  const itimerval soon = {{0, 0}, {0, 20000}};
  setitimer(ITIMER_REAL, &soon, nullptr);
  EXPECT_EQ(GetDataPipe(data), LSYNCD_ERR_SELECT);
  EXPECT_EQ(close(data), 0) << "stays open";
  EXPECT_EQ(GetDataPipe(data), LSYNCD_ERR_NO_REPLY) << "after two seconds";
  EXPECT_EQ(close(data), 0);
  writer.Close();
  unlink(kDataFifo);
  unlink(kCommandFifo);
  EXPECT_EQ(HostState::Now(), before);
}

TEST(SyncChannel, ALineIsCopiedAsStrncpyDoesAndReadNoFurther) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  WriteText(ends[1], "abcdef\nx\n" + std::string(2, '\0') + "\nrest");
  char buffer[5] = {'#', '#', '#', '#', '#'};
  for (const std::string& expected :
       {std::string("abcd#"), std::string("x\0\0\0#", 5), std::string("\0\0\0\0#", 5)}) {
    EXPECT_EQ(ReadLine(ends[0], buffer, 4), 0);
    EXPECT_EQ(std::string(buffer, 5), expected);
  }
  EXPECT_EQ(read(ends[0], buffer, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), "rest");
  close(ends[0]);
  EXPECT_EQ(ReadLine(ends[0], buffer, 4), LSYNCD_ERR_READ);

  // A count that fills the buffer, and descriptors beyond what one set for pselect holds.
  Daemon daemon(Daemon::kStays, [](char, int fifo) { WriteText(fifo, "12\n"); });
  const rlimit many = {2000, 2000};
  setrlimit(RLIMIT_NOFILE, &many);
  for (int fd = 0; fd < FD_SETSIZE + 50;) fd = dup(ends[1]);
  std::vector<char> exact(2);
  int data = -1, count = 0, lock = -1;
  EXPECT_EQ(SystemSyncInit(1, exact.data(), exact.size(), data, count, lock), 0);
  EXPECT_GT(data, FD_SETSIZE);
  EXPECT_EQ(count, 12);
  EXPECT_EQ(SystemSyncExit(data, lock), 0);
}

TEST(SyncChannel, ALockFileRemovedBetweenOpeningAndLockingKeepsNobodyElseIn) {
  Daemon daemon(Daemon::kStays, [](char, int) {});
  char buffer[256];
  int first = -1, second = -1, third = -1;
  const auto send = [&](int& lock) { return SendCmd(4, buffer, sizeof buffer, lock); };
  EXPECT_EQ(send(first), 0);
  before_lock = [&] { EXPECT_EQ(SystemSyncExit(-1, first), 0); };
  EXPECT_EQ(send(second), 0) << "the lock is free";
  before_lock = [&] {
    EXPECT_EQ(SystemSyncExit(-1, second), 0);
    EXPECT_EQ(send(first), 0);
  };
  EXPECT_EQ(send(third), LSYNCD_ERR_BUSY);
  std::vector<LsyncdEvent> events;
  EXPECT_EQ(HASystemSyncGetEvents(events), LSYNCD_ERR_BUSY);
  EXPECT_EQ(SystemSyncExit(-1, third), -1);
  EXPECT_EQ(errno, EWOULDBLOCK) << "another exchange's";
  EXPECT_EQ(send(third), LSYNCD_ERR_BUSY) << "the holder's lock holds, whatever others did";
  EXPECT_EQ(SystemSyncExit(-1, first), 0);
  EXPECT_EQ(SystemSyncExit(-1, third), -1);
  EXPECT_FALSE(Exists(kLockFile));
}

TEST(SyncChannel, ADaemonThatDiesBeforeTheWriteDoesNotKillTheCaller) {
  mkfifo(kDataFifo, 0600);
  mkfifo(kCommandFifo, 0600);
  WriteFile(kPidFile, std::to_string(getpid()));
  sigset_t pipe_signal, now;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  for (const bool pending_before : {false, true}) {
    if (pending_before) {
      pthread_sigmask(SIG_BLOCK, &pipe_signal, nullptr);
      raise(SIGPIPE);
    }
    Descriptor reader(open(kCommandFifo, O_RDONLY | O_NONBLOCK));
    before_command = [&] { reader.Close(); };
    EXPECT_EQ(HASystemSyncCheckConsistency(), 0);
    EXPECT_FALSE(reader) << "the write was not reached";
    pthread_sigmask(SIG_BLOCK, nullptr, &now);
    EXPECT_EQ(sigismember(&now, SIGPIPE), pending_before);
    sigpending(&now);
    EXPECT_EQ(sigismember(&now, SIGPIPE), pending_before) << "the host's own signal";
  }
}

std::string ReplyTo(char command) {
  return std::string("2\nto:") + command + "\nto:" + command + "\n";
}

std::string EventsFor(char command) {
  return std::string("to=") + command + ";to=" + command + ";";
}

TEST(SyncChannel, TwentyClientsAtOnceGetTheirOwnWholeAnswerOrAreTurnedAway) {
  Daemon daemon(Daemon::kStays, [](char command, int data) { WriteText(data, ReplyTo(command)); });
  std::vector<std::thread> clients;
  for (char command = 'a'; command < 'a' + 20; ++command) {
    clients.emplace_back([command] {
      for (int to_be_served = 3; to_be_served > 0; usleep(100)) {
        std::vector<LsyncdEvent> events;
        const int result = HASystemSyncGetComm(events, command);
        EXPECT_THAT(result, AnyOf(0, LSYNCD_ERR_BUSY));
        EXPECT_EQ(Text(events), result == 0 ? EventsFor(command) : "");
        if (result == 0) --to_be_served;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(daemon.Stop().size(), 60u) << "whole exchanges only";
  EXPECT_FALSE(Exists(kLockFile));
}

TEST(SyncChannel, AClientKilledAtAnyPointLeavesItUsable) {
  Daemon daemon(Daemon::kStays, [](char command, int data) { WriteText(data, ReplyTo(command)); });
  for (const int reached : {0, 1, 2}) {
    SCOPED_TRACE(reached);
    const pid_t client = fork();
    if (client == 0) {
      char line[256];
      int data = -1, lock = -1;
      if (reached == 0) before_command = [] { raise(SIGKILL); };
      SendCmd('v', line, sizeof line, lock);
      GetDataPipe(data);
      if (reached == 2) ReadLine(data, line, sizeof line);
      raise(SIGKILL);
    }
    waitpid(client, nullptr, 0);
    std::vector<LsyncdEvent> events;
    EXPECT_EQ(HASystemSyncGetComm(events, 'n'), 0);
    EXPECT_EQ(Text(events), EventsFor('n'));
  }
}

}  // namespace
