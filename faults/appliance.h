// An appliance of one's own, in which operations can be called.
#ifndef FAULTS_APPLIANCE_H_
#define FAULTS_APPLIANCE_H_

namespace faults {

// Moves the process, or its next child, into a private root that has what operations need and no
// operation changes: tools, daemons, a system logger, an interface. It is served by threads of this
// process. Ends the process with a message when that fails.
void EnterAppliance();

}  // namespace faults

#endif  // FAULTS_APPLIANCE_H_
