// A response file of the peer, and a file whose first line is taken off.
#include <tavohacore.h>

#include "fuzz/harness.h"

FUZZ(data) {
  constexpr char kResponse[] = "/tmp/ha/ha_tavolog_resp", kFile[] = "/run/lines";
  constexpr size_t kResponseSize = 16;  // no more than that is looked at
  if (data.size() <= kResponseSize) {
    fuzz::SetToolAnswer("nas-b: ONLINE\n");
    fuzz::WriteFile(kResponse, data);
    fuzz::Require(TAVOHALogMessageSend(1, 1, "event", "user") == 0);
  }

  fuzz::WriteFile(kFile, data);
  char line[256] = "";
  fuzz::Require(FileRemoveFirstLine(kFile, line, sizeof line) == 0);
  const size_t end = data.find('\n');
  const std::string_view first = data.substr(0, end == data.npos ? end : end + 1);
  fuzz::Require(fuzz::ReadFile(kFile) == data.substr(first.size()));
  const std::string_view kept = first.substr(0, sizeof line - 1);
  fuzz::Require(line == kept.substr(0, kept.find('\0')));
}
