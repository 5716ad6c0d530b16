// Where crm_resource says that a resource runs; the first byte is its exit status.
#include <tavohacore.h>

#include "fuzz/harness.h"

FUZZ(data) {
  if (data.empty()) return;
  const int status = static_cast<unsigned char>(data[0]) << 8;
  fuzz::SetToolAnswer(data.substr(1), status);
  const int anywhere = HACrmIsResourceRunningAt(nullptr, "IP");
  const int here = HACrmIsResourceRunningAt("nas-a", "IP");
  fuzz::Require(here <= anywhere);
  fuzz::Require(status == 0 || anywhere == 0);
  fuzz::Require(here == 0 || data.find("nas-a") != data.npos);
}
