#include "frame/line_reader.h"

#include <cerrno>

namespace frame {

bool LineReader::Next() {
  line_.clear();
  for (;;) {
    const int byte = getc_unlocked(stream_);
    if (byte == EOF) {
      if (ferror(stream_) != 0) {
        if (errno == EINTR) {
          clearerr(stream_);
          continue;
        }
        failed_ = true;
      }
      return !failed_ && !line_.empty();
    }
    line_.push_back(static_cast<char>(byte));
    if (byte == '\n') return true;
  }
}

}  // namespace frame
