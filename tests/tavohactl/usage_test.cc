#include <gmock/gmock.h>

#include "tests/support/files.h"
#include "tests/tavohactl/run.h"

namespace test_support {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST(CtlUsage, AMistakeIsNamedWithTheNearestRightWord) {
  struct {
    const char* command_line;
    const char* error;
  } const cases[] = {
      {"", "a command is missing: status, role, node, "},
      {"stauts", "no such command: stauts; did you mean \"status\"?\nTry: tavohactl --help\n"},
      {"bicycle", "no such command: bicycle\n"},
      {"conf", "conf: a command is missing: get, set, list, keys, export"},
      {"conf gte host0", "conf: no such command: gte; did you mean \"get\"?"},
      {"conf get", "get: KEY is required\nTry: tavohactl conf get --help\n"},
      {"conf get host0 1 2", "get: there is no place for \"2\""},
      {"conf get host0 --jsno", "no such option: --jsno; did you mean \"--json\"?"},
      {"conf get hots0", "ha.conf has no key \"hots0\"; did you mean \"host0\"?"},
      {"conf get mac_loacl_3", "did you mean \"mac_local_\"?"},
      {"conf get host0 1", "host0 has no index"},
      {"conf get ha_ip", "say which one, ha_ip 0 to ha_ip 11"},
      {"conf get ha_ip 12", "\"12\" is no index of ha_ip"},
      {"conf get ha_ip12", "\"12\" is no index of ha_ip"},
      {"conf get ha_ip 1x", "\"1x\" is no index of ha_ip"},
      {"conf set host0", "VALUE is missing"},
      {"conf set host0 1 2 3", "set: there is no place for \"3\""},
      {"conf set ha_ip 10.1.1.5", "say which one"},
  };
  WriteFile("/usr/tavo/tavoha/etc/ha.conf", "host0=\"nas-a\"\n");
  for (const auto& [command_line, error] : cases) {
    SCOPED_TRACE(command_line);
    const Outcome outcome = Tavohactl(command_line);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.error, StartsWith("tavohactl: "));
    EXPECT_THAT(outcome.error, HasSubstr(error));
  }
  EXPECT_EQ(ReadFile("/usr/tavo/tavoha/etc/ha.conf"), "host0=\"nas-a\"\n");
}

TEST(CtlUsage, HelpIsAnAnswerAndTeachesByExample) {
  for (const char* command_line :
       {"--help",          "status --help",   "role --help",      "node --help",
        "wait --help",     "rule --help",     "resource --help",  "ip --help",
        "cluster --help",  "peer --help",     "sync --help",      "space --help",
        "conf --help",     "conf set --help", "interface --help", "mac --help",
        "hostname --help", "serial --help",   "model --help",     "binding --help",
        "conflict --help", "stop --help"}) {
    SCOPED_TRACE(command_line);
    const Outcome outcome = Tavohactl(command_line);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("Examples:\n  tavohactl "));
    EXPECT_THAT(outcome.error, IsEmpty());
  }
}

TEST(CtlUsage, AnAnswerThatCannotBeWrittenIsAFailure) {
  EXPECT_EQ(Tavohactl("conf keys >/dev/full").status, 1);
}

}  // namespace
}  // namespace test_support
