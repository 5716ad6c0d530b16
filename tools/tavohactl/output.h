// The one way to print an answer: its record as JSON for programs, or as text for a reader.
#ifndef TAVOHACTL_OUTPUT_H_
#define TAVOHACTL_OUTPUT_H_

#include <string>

#include "command.h"

namespace tavohactl {

// Lays a record out: a line "label: value" for each member that is one value, and a table for each
// that is a list of records. Control characters show as "?".
std::string Layout(const Json& record);

// The text of one value, and the name of a member, as laid out.
std::string ValueText(const Json& value);
std::string Label(std::string name);

// Returns what goes to standard output for an answer, its line end included.
std::string Format(const Answer& answer, bool json);

// Writes the text to standard output. Throws Failure when it cannot be written.
void Print(const std::string& text);

}  // namespace tavohactl

#endif  // TAVOHACTL_OUTPUT_H_
