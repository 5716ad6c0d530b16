#include <tavohacore/peer.h>

#include "platform/tavlib.h"
#include "tests/support/test.h"

namespace {

using namespace test_support;

constexpr char kMessageTool[] = "/usr/bin/crm_node";

// This node is nas-a, its peer nas-b.
class PeerMessage : public Test {
 protected:
  PeerMessage() : crm_node_(kMessageTool) {
    StartHa();
    crm_node_.Answer({{}});
  }

  static void ExpectSent(const std::string& text) {
    const auto calls = TakeToolCalls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_THAT(calls[0].arguments, ElementsAre(kMessageTool, "--node", "nas-b", "--mesg", text));
  }

  ScriptedTool crm_node_;
  LogCapture log_;
};

TEST_F(PeerMessage, ArrivesUpToItsNulOrItsLimitInBothForms) {
  const std::string payload("first\nsec\0ond\n\nno line end", 26);
  const std::string long_text = std::string(2000, 'x') + "no NUL before here";
  const struct {
    std::string data;
    unsigned length;
    std::string sent;
  } cases[] = {{"SYNCMD01", 8, "SYNCMD01"},
               {"SYNCMD01", 1, "S"},
               {long_text, 1023, long_text.substr(0, 1023)},
               {long_text, 2000, long_text.substr(0, 1023)},
               {std::string("SMARTEST/dev\0sda", 16), 16, "SMARTEST/dev"},
               {std::string("\0x", 2), 2, ""}};
  for (auto c : cases) {
    SCOPED_TRACE(c.sent.size());
    WriteFile("/tmp/payload", payload);
    EXPECT_EQ(SendAisMsg(c.data.data(), c.length, nullptr), 0);
    ExpectSent(c.sent);
    EXPECT_EQ(SendAisMsg(c.data.data(), c.length, "/tmp/payload"), 0);
    ExpectSent("-fIlE-:/tmp/payload");
    EXPECT_EQ(ReadFile("/tmp/payload"), c.sent + "\n" + payload);
  }
  EXPECT_EQ(log_.Take(), "");
}

TEST_F(PeerMessage, FailsAsEachStepSaysAndChangesNothing) {
  const std::string payload(4096, 'p');  // fills the small disk
  WriteFile("/tmp/mounted/payload", payload);
  mount("/tmp/mounted/payload", "/tmp/mounted/payload", nullptr, MS_BIND, nullptr);
  WriteFile("/tmp/full/x", "");
  mount("small", "/tmp/full", "tmpfs", 0, "size=4096");
  const std::string long_name = "/tmp/" + std::string(250, 'n');
  std::string long_path = "/tmp";
  while (long_path.size() < 1017) long_path += "/" + std::string(100, 'd');
  long_path.resize(1017, 'd');
  char message[] = "LOGREQ  ";
  const struct {
    std::string file;
    int record;
  } cases[] = {{"/tmp/missing", 0},
               {"/tmp", 0x0B00},
               {long_name, 0x0900},
               {"/tmp/full/payload", 0x0B00},
               {"/tmp/mounted/payload", 0x2800},
               {long_path, 0x0D00}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const bool is_file = c.file != "/tmp" && c.file != "/tmp/missing";
    if (is_file) WriteFile(c.file, payload);
    TAVLIBErrSetEx(0, "none", 0);
    EXPECT_EQ(SendAisMsg(message, 8, c.file.c_str()), -1);
    EXPECT_EQ(TAVLIBErrGet(), c.record);
    EXPECT_STREQ(TAVLIBErrorGetFile(), c.record != 0 ? "ais_msg" : "none");
    EXPECT_TRUE(!is_file || ReadFile(c.file) == payload);
  }
  EXPECT_THAT(ListDirectory("/tmp/full"), ElementsAre("payload"));
  EXPECT_EQ(log_.Take(), "");

  EXPECT_EQ(SendAisMsg(nullptr, 8, nullptr), -1);
  EXPECT_EQ(SendAisMsg(message, 0, nullptr), -1);
  EXPECT_EQ(log_.Take(), "ERROR ais_msg: Invalid argument; ERROR ais_msg: Invalid argument");
  EXPECT_THAT(TakeToolCalls(), IsEmpty());

  crm_node_.Answer({{.kill_signal = SIGKILL}});
  EXPECT_EQ(SendAisMsg(message, 8, nullptr), 0) << "what the tool says counts for nothing";
  unlink(kMessageTool);
  EXPECT_EQ(SendAisMsg(message, 8, nullptr), -1);
  EXPECT_EQ(log_.Take(), "ERROR ais_msg: Failed to send AIS message");
}

TEST_F(PeerMessage, RemoteDiskCommandsCarryTheirArgument) {
  const struct {
    int (*run)(const char*);
    std::string word, module, refusal;
  } commands[] = {
      {TAVOHASmartRemoteRun, "SMARTEST", "disk", "Failed to do remote disk S.M.A.R.T test"},
      {TAVOHASSDRemoteTrim, "SSD_TRIM", "space", "Failed to set space path for remote sshd trim"}};
  const std::string a1015(1015, 'a'), a1024(1024, 'a'),
      no_host = "ERROR ais_msg: Failed to get remote host; ERROR ";
  for (const auto& command : commands) {
    SetConf("host0=\"nas-a\"\nhost1=\"nas-b\"\n");
    for (const std::string& argument : {std::string(), a1015, a1015 + "12345678"}) {
      EXPECT_EQ(command.run(argument.c_str()), 0);
      ExpectSent(command.word + argument.substr(0, 1015));
    }
    EXPECT_EQ(log_.Take(), "");
    EXPECT_EQ(command.run(a1024.c_str()), -1);
    EXPECT_EQ(command.run(nullptr), -1);
    const std::string refused = "ERROR " + command.module + ": " + command.refusal;
    EXPECT_EQ(log_.Take(), refused + "; " + refused);
    SetConf("host0=\"nas-a\"\n");
    EXPECT_EQ(command.run("/dev/sda"), -1);
    EXPECT_EQ(log_.Take(), no_host + command.module + ": Failed to send ais");
  }
  EXPECT_EQ(TAVOHASetRemoteSysPart(), -1);
  EXPECT_EQ(log_.Take(), no_host + "ha_set_remote_sys_part: SendAisMsg failed");
  SetConf("host0=\"nas-a\"\nhost1=\"nas-b\"\n");
  EXPECT_EQ(TAVOHASetRemoteSysPart(), 0);
  ExpectSent("SYNCMD01");
}

}  // namespace
