// Programs whose every run a test prescribes, and can look at afterwards.
#ifndef TESTS_SUPPORT_SCRIPTED_TOOL_H_
#define TESTS_SUPPORT_SCRIPTED_TOOL_H_

#include <string>
#include <vector>

namespace test_support {

// What one run does, in this order.
struct ToolAnswer {
  int delay_milliseconds = 0;
  std::string output{};         // any bytes
  std::string error_output{};   // on standard error
  int linger_milliseconds = 0;  // when not 0: closes its output, and ends that much later
  int kill_signal = 0;          // when not 0: ends by this signal
  int exit_status = 0;
};

class ScriptedTool {
 public:
  // Installs the tool, a real program, at the absolute path. Without an answer it exits with 99.
  explicit ScriptedTool(std::string path);

  // Run n is answered with answer n, and all after the last with the last. Can be called again at
  // any time (as from a VirtualClock's callback), and then starts anew.
  void Answer(const std::vector<ToolAnswer>& answers);
  // The same for the runs with these arguments (the program's name not counted), which have a
  // sequence of their own. "*" stands for any one argument. The first that was given and fits
  // counts, and Answer serves what none fits.
  void AnswerTo(const std::vector<std::string>& arguments, const std::vector<ToolAnswer>& answers);

 private:
  std::string path_;
};

inline constexpr char kNoSignals[] = "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n";

// One run of a scripted tool, as the tool itself saw it.
struct ToolCall {
  std::string path;                    // where it was started
  std::vector<std::string> arguments;  // argv, the program's name included
  std::vector<std::string> environment;
  std::vector<std::string> descriptors;  // "NUMBER=WHERE IT LEADS", of all that are open
  std::string signals;                   // kNoSignals when none is blocked or ignored

  // The path and the arguments after the program's name, with blanks between. An argument that is
  // empty or has a blank in it stands in single quotes.
  std::string CommandLine() const;
};

// Return the runs of all scripted tools since the last call of either, in order.
std::vector<ToolCall> TakeToolCalls();
std::vector<std::string> TakeCommandLines();

}  // namespace test_support

#endif  // TESTS_SUPPORT_SCRIPTED_TOOL_H_
