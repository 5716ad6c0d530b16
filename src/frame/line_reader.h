// Reading what others wrote, line by line.
#ifndef FRAME_LINE_READER_H_
#define FRAME_LINE_READER_H_

#include <cstdio>
#include <string>

namespace frame {

// Reads the lines of a stream. Memory grows to the longest line and no further; a signal does not
// end a line.
class LineReader {
 public:
  explicit LineReader(FILE* stream) : stream_(stream) {}

  // Reads the next line, its "\n" included where it has one. Returns false at the end of the stream
  // or when reading failed. May throw std::bad_alloc.
  bool Next();

  // The line, as the C string that it is for the tools' readers: a NUL byte ends it.
  char* text() { return line_.data(); }
  // The line with all its bytes.
  const std::string& bytes() const { return line_; }

  // Whether reading ended by an error rather than at the end.
  bool failed() const { return failed_; }

 private:
  FILE* stream_;
  std::string line_;
  bool failed_ = false;
};

}  // namespace frame

#endif  // FRAME_LINE_READER_H_
