// Every operation of the library, each called once in a world in which it succeeds.
#ifndef FAULTS_OPERATIONS_H_
#define FAULTS_OPERATIONS_H_

#include <tavohacore.h>

#include <map>
#include <string>
#include <vector>

namespace faults {

using Files = std::map<std::string, std::string>;  // what is where

inline constexpr char kNothing[] = "(nothing)";  // in a scene: the file is not there

enum Trait : unsigned {
  kTolerant = 1,   // may succeed with less: what it could not read or do is left out, as documented
  kExclusive = 2,  // not for several threads at once
  kQuick = 4,      // runs no tools
  kInPlace = 8,    // writes in place: a failure leaves as much as was written
};

struct Operation {
  std::string names;            // what is called; behind a comma, in which case
  int (*call)();                // leaves in `given` what it got beyond the result
  std::vector<int> failures{};  // the results that it may have, beside the usual one, when
                                // something fails
  unsigned traits = 0;
  Files scene{};  // what differs from the usual world
};

struct Given {
  alignas(int) char text[3072] = {};
  int number = 0;
  std::string string;
  LsyncdStatus status;
  std::vector<LsyncdEvent> events;
};
extern thread_local Given given;
// Everything in `given`, as one text; empties it.
std::string TakeGiven();

const std::vector<Operation>& Operations();

// The tools' own paths; each answers as the world's scripts say.
const std::vector<std::string>& Tools();

// The files that an operation finds: an appliance on which everything runs, as "nas-a", host0.
Files World(const Operation& operation);
// What is there now of the directories in which operations write, locks left out.
Files Look();
// Brings the directories, and what the tools will answer, to that.
void MakeSo(const Files& files);
// Whether the path is of the tools' scripts rather than of the appliance.
bool IsScript(const std::string& path);

}  // namespace faults

#endif  // FAULTS_OPERATIONS_H_
