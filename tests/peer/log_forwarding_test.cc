#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tavohacore/frame.h>
#include <tavohacore/peer.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_tool.h"
#include "tests/support/virtual_clock.h"

namespace {

using namespace test_support;
using namespace testing;

constexpr char kCrmNode[] = "/usr/bin/crm_node";
constexpr char kRequest[] = "/tmp/ha/ha_tavolog_req";
constexpr char kResponse[] = "/tmp/ha/ha_tavolog_resp";
constexpr char kSent[] = "/usr/bin/crm_node --node nas-b --mesg -fIlE-:/tmp/ha/ha_tavolog_req";

// This node is nas-a, its peer nas-b, and HA runs on both.
class LogForwarding : public Test {
 protected:
  LogForwarding() : crm_mon_("/usr/bin/crm_mon"), crm_node_(kCrmNode) {
    const std::string alive = std::to_string(getpid());
    WriteFile("/tmp/.ha.running", "");
    WriteFile("/usr/tavo/tavoha/var/run/corosync.pid", alive);
    WriteFile("/usr/tavo/tavoha/var/run/pacemaker.pid", alive);
    WriteFile("/usr/tavo/tavoha/etc/ha.conf", "host0=\"nas-a\"\nhost1=\"nas-b\"\n");
    SetPeer("ONLINE");
    crm_node_.Answer({{}});
  }

  void SetPeer(const std::string& words) {
    crm_mon_.Answer({{.output = "nas-a: ONLINE\nnas-b: " + words + "\n"}});
  }

  // What was logged beside the notes of the node status.
  std::vector<LogLine> TakeLog() {
    std::vector<LogLine> lines = log_.Take();
    std::erase_if(lines, [](const LogLine& line) { return line.module == "node"; });
    return lines;
  }

  // Nothing of an exchange is left, and the next one can begin.
  static void ExpectFinished() {
    EXPECT_THAT(ListDirectory("/tmp/ha"), ElementsAre(".ha.tavolog.send.lock"));
    FILE* lock = nullptr;
    EXPECT_EQ(HAFileLock(&lock, HA_LOCK_TAVOLOG_SEND, 0), 0);
    HAFileUnlock(&lock);
  }

  ScriptedTool crm_mon_, crm_node_;
  LogCapture log_;
};

TEST_F(LogForwarding, WaitsTwelveChecksForAnyResponse) {
  const auto failed = Logged("ERROR", "log_message", "Failed to send syslog to active node.");
  const auto timeout =
      Logged("ERROR", "log_message", "Wait for syslog response from remote node timeout");
  const struct {
    size_t pause;  // in which the response comes
    std::string response;
    int result;
    size_t pauses;
    std::vector<Matcher<const LogLine&>> logged;
  } cases[] = {
      {1, "", 0, 1, {}},           {3, "FAIL    and more\nx", 0, 3, {failed}},
      {3, "FAIL   ", 0, 3, {}},    {11, "OK\nFAIL    ", 0, 11, {}},
      {12, "", -1, 11, {timeout}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pause);
    SetPeer(c.pause == 1 ? "UNCLEAN ONLINE" : "ONLINE");
    std::string request;
    VirtualClock clock([&](size_t pause) {
      request = ReadFile(kRequest);
      if (pause == c.pause) WriteFile(kResponse, c.response);
    });
    EXPECT_EQ(TAVOHALogMessageSend(-1, 7, "Volume \"1\" = full", "admin"), c.result);
    EXPECT_EQ(request,
              "LOGREQ  \nHostName=\"nas-a\"\nLogType=\"7\"\nLogClass=\"-1\"\nUser=\"admin\"\n"
              "Event=\"Volume \"1\" = full\"\n");
    EXPECT_THAT(clock.pauses(), AllOf(SizeIs(c.pauses), Each(1)));
    EXPECT_THAT(TakeLog(), ElementsAreArray(c.logged));
    EXPECT_THAT(TakeCommandLines(), ElementsAre("/usr/bin/crm_mon -1 -S", kSent));
    ExpectFinished();
  }
}

TEST_F(LogForwarding, AFailureAtAnyStepLeavesNoFileAndNoLock) {
  const auto error = [](const std::string& body) { return Logged("ERROR", "log_message", body); };
  FILE* lock = nullptr;
  const auto expect_failure = [&](const char* event, const char* user, auto... logged) {
    EXPECT_EQ(TAVOHALogMessageSend(1, 1, event, user), -1);
    EXPECT_THAT(TakeLog(), ElementsAre(logged...));
    HAFileUnlock(&lock);
    ExpectFinished();
  };
  VirtualClock clock;
  HAFileLock(&lock, HA_LOCK_TAVOLOG_SEND, 0);
  expect_failure(nullptr, "admin", error("Invalid argument"));
  expect_failure("event", nullptr, error("Invalid argument"));
  SetPeer("OFFLINE");
  expect_failure("event", "admin");
  SetPeer("ONLINE");
  EXPECT_THAT(TakeCommandLines(), ElementsAre("/usr/bin/crm_mon -1 -S"));
  EXPECT_THAT(clock.pauses(), IsEmpty());
  HAFileLock(&lock, HA_LOCK_TAVOLOG_SEND, 0);
  expect_failure("event", "admin", error("Failed to lock"));
  EXPECT_THAT(clock.pauses(), SizeIs(10));
  expect_failure("two\nlines", "admin",
                 error("Failed to set Event=two\nlines to /tmp/ha/ha_tavolog_req"));
  EXPECT_EQ(symlink("/etc/passwd", kResponse), 0);
  expect_failure(
      "event", "admin",
      error("Failed to open /tmp/ha/ha_tavolog_resp: Too many levels of symbolic links"));
  unlink(kCrmNode);
  expect_failure("event", "admin", Logged("ERROR", "ais_msg", "Failed to send AIS message"),
                 error("Failed to send ais msg"), error("Failed to send log message information."));
  EXPECT_EQ(HASendLogMessage(nullptr), 0);
  EXPECT_THAT(TakeLog(), ElementsAre(error("Fail to send log message.")));
}

}  // namespace
