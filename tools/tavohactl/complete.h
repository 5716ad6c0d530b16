// What may come next on a command line, for the shell's completion.
#ifndef TAVOHACTL_COMPLETE_H_
#define TAVOHACTL_COMPLETE_H_

#include <string>
#include <vector>

#include "command.h"

namespace tavohactl {

// Returns what can stand in the place of the last of `words`, which follow "tavohactl"; empty where
// that is for the user to know, a file's name for example.
std::vector<std::string> Completions(const CLI::App& root, const std::vector<std::string>& words);

}  // namespace tavohactl

#endif  // TAVOHACTL_COMPLETE_H_
