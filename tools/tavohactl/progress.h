// Company for an operator while a call takes its time, and a question before one that destroys.
#ifndef TAVOHACTL_PROGRESS_H_
#define TAVOHACTL_PROGRESS_H_

#include <string>
#include <thread>

#include "command.h"

namespace tavohactl {

// While one lives, a line on the terminal says what is waited for and for how long. It appears only
// when the wait lasts, goes without a trace, and does not exist where standard error is no
// terminal.
class Progress {
 public:
  explicit Progress(std::string waiting_for);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Show() const;

  std::string waiting_for_;
  int stop_ = -1;  // readable when the wait is over
  std::thread thread_;
};

// Adds the flag "--yes" to a command that destroys something.
void AddConfirmation(CLI::App* command);

// Asks for permission to do `what` ("erase the configuration"), unless the command line has
// "--yes". Throws Failure when the operator refuses, and WrongUse when there is no terminal to ask
// at.
void Confirm(const CLI::App& arguments, const std::string& what);

}  // namespace tavohactl

#endif  // TAVOHACTL_PROGRESS_H_
