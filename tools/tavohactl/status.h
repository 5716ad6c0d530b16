// How both nodes stand, as "status" prints it and "watch" keeps it on screen.
#ifndef TAVOHACTL_STATUS_H_
#define TAVOHACTL_STATUS_H_

#include "command.h"

namespace tavohactl {

Json StatusRecord();

}  // namespace tavohactl

#endif  // TAVOHACTL_STATUS_H_
