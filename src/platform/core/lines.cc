#include "platform/core/lines.h"

#include <unistd.h>

#include <cstring>
#include <utility>

#include "platform/handles.h"

namespace tavocore {

bool Lines::Next() {
  size_t searched = begin_;
  for (;;) {
    const void* const found = memchr(buffer_ + searched, '\n', end_ - searched);
    if (found != nullptr) {
      const size_t length =
          static_cast<size_t>(static_cast<const char*>(found) - (buffer_ + begin_)) + 1;
      line_ = {buffer_ + begin_, length};
      begin_ += length;
      return true;
    }
    const size_t pending = end_ - begin_;
    if (!Fill()) {
      line_ = {buffer_ + begin_, end_ - begin_};
      begin_ = end_;
      return !failed_ && !line_.empty();
    }
    searched = begin_ + pending;
  }
}

// Reads on behind the start of a line. Returns false when nothing more came.
bool Lines::Fill() {
  if (begin_ > 0) {
    memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= std::exchange(begin_, 0);
  }
  if (end_ == capacity_) {
    std::unique_ptr<char[]> larger(new char[capacity_ * 2]);
    memcpy(larger.get(), buffer_, end_);
    grown_ = std::move(larger);
    buffer_ = grown_.get();
    capacity_ *= 2;
  }
  const ssize_t length =
      platform::RetryOnSignal([&] { return read(fd_, buffer_ + end_, capacity_ - end_); });
  failed_ = length < 0;
  if (length <= 0) return false;
  end_ += static_cast<size_t>(length);
  return true;
}

}  // namespace tavocore
