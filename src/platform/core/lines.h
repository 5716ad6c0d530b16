// A file, line by line, at the price of a few large reads.
#ifndef PLATFORM_CORE_LINES_H_
#define PLATFORM_CORE_LINES_H_

#include <cstddef>
#include <memory>
#include <string_view>

namespace tavocore {

// Hands out the lines of an open file. They may hold anything and be of any length; memory beyond
// the object itself, which belongs on the stack, is taken for lines that do not fit into it.
class Lines {
 public:
  explicit Lines(int fd) : fd_(fd) { own_[0] = '\0'; }
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;

  // Moves on to the next line. Returns false at the end of the file, and when reading failed.
  bool Next();
  // Moves on to the next line that holds `text`, at the price of a search of those before it.
  bool NextWith(const char* text);
  // The line, its line end included when it has one. Valid until the next call of Next.
  std::string_view line() const { return line_; }
  bool failed() const { return failed_; }

 private:
  bool Fill();
  const char* Find(const char* from, const char* text) const;

  static constexpr size_t kOwnSize = size_t{16} * 1024;

  const int fd_;
  bool failed_ = false;
  std::unique_ptr<char[]> grown_;
  char* buffer_ = own_;
  size_t capacity_ = kOwnSize;
  size_t begin_ = 0;
  size_t end_ = 0;
  std::string_view line_;
  char own_[kOwnSize + 1];  // what has been read ends with a NUL byte
};

}  // namespace tavocore

#endif  // PLATFORM_CORE_LINES_H_
