#include "platform/core/lines.h"

#include <unistd.h>

#include <algorithm>
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

bool Lines::NextWith(const char* text) {
  size_t searched = begin_;
  for (;;) {
    const char* const found = Find(buffer_ + searched, text);
    // What lies before it, or before the line that has not come to its end, is passed over.
    const size_t passed = found != nullptr ? static_cast<size_t>(found - buffer_) : end_;
    const void* const line_end = memrchr(buffer_ + begin_, '\n', passed - begin_);
    if (line_end != nullptr) {
      begin_ = static_cast<size_t>(static_cast<const char*>(line_end) - buffer_) + 1;
    }
    if (found != nullptr) return Next();
    const size_t pending = end_ - begin_;
    if (!Fill()) {
      begin_ = end_;
      return false;
    }
    searched = begin_ + pending - std::min(pending, strlen(text));  // it may have come in part
  }
}

// Finds a text in what has been read. Returns null when it is not there.
const char* Lines::Find(const char* from, const char* text) const {
  // libc searches strings much faster than memory, and a NUL byte in a line is rare.
  for (;;) {
    const char* const found = strstr(from, text);
    if (found != nullptr) return found;
    from += strlen(from) + 1;
    if (from > buffer_ + end_) return nullptr;
  }
}

// Reads on behind the start of a line. Returns false when nothing more came.
bool Lines::Fill() {
  if (begin_ > 0) {
    memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= std::exchange(begin_, 0);
  }
  if (end_ == capacity_) {
    std::unique_ptr<char[]> larger(new char[capacity_ * 2 + 1]);
    memcpy(larger.get(), buffer_, end_);
    grown_ = std::move(larger);
    buffer_ = grown_.get();
    capacity_ *= 2;
  }
  const ssize_t length =
      platform::RetryOnSignal([&] { return read(fd_, buffer_ + end_, capacity_ - end_); });
  failed_ = length < 0;
  if (length > 0) end_ += static_cast<size_t>(length);
  buffer_[end_] = '\0';
  return length > 0;
}

}  // namespace tavocore
