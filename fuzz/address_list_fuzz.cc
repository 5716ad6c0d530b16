// A list of the cluster's addresses.
#include <tavohacore.h>

#include "fuzz/harness.h"

FUZZ(data) {
  fuzz::WriteFile("/var/lib/ha/ip.local", data);
  const bool conflict = TAVOHAIsHAIPConflict("10.0.0.1") == 1;
  fuzz::Require(!conflict || data.find("10.0.0.1") != data.npos);
  const bool alone = ("\n" + std::string(data) + "\n").find("\n10.0.0.1\n") != std::string::npos;
  fuzz::Require(conflict || !alone);
}
