#include <tavohacore/peer.h>

#include "tests/crm/cluster.h"

namespace {

using namespace test_support;

constexpr char kRequest[] = "/tmp/ha/ha_tavolog_req";
constexpr char kResponse[] = "/tmp/ha/ha_tavolog_resp";
const Story kSent = "status; crm_node --node nas-b --mesg -fIlE-:/tmp/ha/ha_tavolog_req";

class LogForwarding : public Cluster {
 protected:
  // Expects the result of sending, what was done and logged, and that nothing of it is left.
  void ExpectSending(const char* event, const char* user, int result, const Story& done,
                     const Story& logged, int line = __builtin_LINE()) {
    const ScopedTrace trace(__FILE__, line, "checked");
    EXPECT_EQ(TAVOHALogMessageSend(-1, 7, event, user), result);
    EXPECT_EQ(Done(), done);
    EXPECT_EQ(log.Take("log_message"), logged);
    HAFileUnlock(&lock);
    EXPECT_THAT(ListDirectory("/tmp/ha"), ElementsAre(".ha.tavolog.send.lock"));
    EXPECT_EQ(HAFileLock(&lock, HA_LOCK_TAVOLOG_SEND, 0), 0);
    HAFileUnlock(&lock);
  }

  FILE* lock = nullptr;
};

TEST_F(LogForwarding, WaitsTwelveChecksForAnyResponse) {
  const struct {
    size_t pause;  // in which the response comes
    Story response, logged;
  } cases[] = {{1, "", ""},
               {3, "FAIL    and more\nx", "ERROR Failed to send syslog to active node."},
               {3, "FAIL   ", ""},
               {11, "OK\nFAIL    ", ""},
               {12, "", "ERROR Wait for syslog response from remote node timeout"}};
  const auto note_pause = at_pause;
  for (const auto& c : cases) {
    PeerIs({c.pause == 1 ? "UNCLEAN ONLINE" : "ONLINE"});
    std::string request;
    at_pause = [&, pause = size_t{0}]() mutable {
      note_pause();
      request = ReadFile(kRequest);
      if (++pause == c.pause) WriteFile(kResponse, c.response);
    };
    ExpectSending("Volume \"1\" = full", "admin", c.pause == 12 ? -1 : 0,
                  Then({kSent, Times(std::min(c.pause, size_t{11}), "pause 1")}), c.logged);
    EXPECT_EQ(request,
              "LOGREQ  \nHostName=\"nas-a\"\nLogType=\"7\"\nLogClass=\"-1\"\nUser=\"admin\"\n"
              "Event=\"Volume \"1\" = full\"\n");
  }
}

TEST_F(LogForwarding, AFailureAtAnyStepLeavesNoFileAndNoLock) {
  HAFileLock(&lock, HA_LOCK_TAVOLOG_SEND, 0);
  ExpectSending(nullptr, "admin", -1, "", "ERROR Invalid argument");
  ExpectSending("event", nullptr, -1, "", "ERROR Invalid argument");
  PeerIs({"OFFLINE"});
  ExpectSending("event", "admin", -1, "status", "");
  PeerIs({"ONLINE"});
  HAFileLock(&lock, HA_LOCK_TAVOLOG_SEND, 0);
  ExpectSending("event", "admin", -1, Then({"status", Times(10, "pause 1")}),
                "ERROR Failed to lock");
  ExpectSending("two\nlines", "admin", -1, "status",
                "ERROR Failed to set Event=two\nlines to /tmp/ha/ha_tavolog_req");
  EXPECT_EQ(symlink("/etc/passwd", kResponse), 0);
  ExpectSending("event", "admin", -1, kSent,
                "ERROR Failed to open /tmp/ha/ha_tavolog_resp: Too many levels of symbolic links");
  unlink("/usr/bin/crm_node");
  ExpectSending("event", "admin", -1, "status",
                "ERROR Failed to send ais msg; ERROR Failed to send log message information.");
  EXPECT_EQ(HASendLogMessage(nullptr), 0);
  EXPECT_EQ(log.Take(), "ERROR log_message: Fail to send log message.");
}

}  // namespace
