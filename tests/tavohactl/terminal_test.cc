// What tavohactl does at a terminal, and for a shell.
#include "tests/tavohactl/run.h"

namespace {

using namespace test_support;

// A loop for the shell that ends when a file holds a text.
std::string Until(const std::string& file, const std::string& text) {
  return "until grep -qs -e '" + text + "' " + file + "; do sleep 0.05; done\n";
}

TEST(CtlWatch, ElsewhereThanOnATerminalEachChangeIsALine) {
  StartHa();
  ASSERT_EQ(Shell(TAVOHACTL_PROGRAM " watch --interval 1 >/run/text & text=$!\n" TAVOHACTL_PROGRAM
                                    " watch --interval 1 --json >/run/json & json=$!\n" +
                  Until("/run/text", "sync") + Until("/run/json", "sync") +
                  "touch /tmp/ha_role_active\n" + Until("/run/text", "no -> yes") +
                  Until("/run/json", "\"no\",\"after\":\"yes\"") + "kill $text $json")
                .status,
            0);
  EXPECT_THAT(ReadFile("/run/text"),
              AllOf(HasSubstr("  host0 host name: nas-a\n"), HasSubstr("  active: no\n"),
                    EndsWith("  active: no -> yes\n")));
  EXPECT_THAT(ReadFile("/run/json"),
              AllOf(ContainsRegex("^[^\n]*\"before\":null"),
                    EndsWith("\"name\":\"active\",\"before\":\"no\",\"after\":\"yes\"}\n")));
}

TEST(CtlWatch, TheScreenGoesAndTheTerminalIsAsItWas) {
  StartHa();
  WriteFile("/run/script",
            "trap : INT\nstty -a >/run/before\n" TAVOHACTL_PROGRAM " watch\nstty -a >/run/after\n");
  for (const std::string key : {"q", "\\003"}) {  // the latter is Ctrl-C
    ASSERT_EQ(Shell("rm -f /run/out /run/after\n{ " + Until("/run/out", "No change yet") +
                    "printf '" + key + "'\n" + Until("/run/after", "icanon") +
                    // Without exec, a shell that waits for this one would die of Ctrl-C.
                    "} | script -qec 'exec sh /run/script' /dev/null >/run/out")
                  .status,
              0);
    const std::string output = ReadFile("/run/out");
    EXPECT_THAT(output, HasSubstr("\033[?1049h"));
    EXPECT_THAT(output, HasSubstr("host0  nas-a"));
    EXPECT_THAT(output, HasSubstr("\033[?25h\033[?1049l"));
    EXPECT_THAT(ReadFile("/run/before"), HasSubstr(" icanon"));
    EXPECT_EQ(ReadFile("/run/after"), ReadFile("/run/before"));
  }
}

TEST(CtlUsage, BashCompletesWhatIsBegun) {
  const std::pair<const char*, const char*> cases[] = {
      {"sta", "status\n"},
      {"conf g", "get\n"},
      {"--json conf get host", "host0\nhost1\nhost_local\nhost_remote\n"},
      {"node standby --json r", "remote\n"},
      {"rule add s", "sync-done\nspace-sync\nserv-fail\nsb\n"},  // the node may be left out
      {"rule add local ve", "ver-mismatch\n"},
      {"resource where IP l", "local\n"},
      {"cluster init --y", "--yes\n"},
      {"peer log text --user l", ""},
      {"conf import rec", ""},
      {"conf get host0 h", ""},
  };
  for (const auto& [typed, completions] : cases) {
    // As bash calls the function that the script has put in place.
    const std::string script = std::string("source ") + COMPLETION_SCRIPT +
                               "; COMP_WORDS=(" TAVOHACTL_PROGRAM " " + typed +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1))"
                               "; complete -p tavohactl >/dev/null && _tavohactl"
                               "; [ ${#COMPREPLY[@]} = 0 ] || printf '%s\\n' \"${COMPREPLY[@]}\"";
    WriteFile("/run/script", script);
    EXPECT_EQ(system("bash /run/script >/run/out 2>&1"), 0);
    EXPECT_EQ(ReadFile("/run/out"), completions) << typed;
  }
}

}  // namespace
