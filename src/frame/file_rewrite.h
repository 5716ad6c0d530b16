// Replacing a file whole.
#ifndef FRAME_FILE_REWRITE_H_
#define FRAME_FILE_REWRITE_H_

#include <cstdio>
#include <string_view>

#include "platform/handles.h"

namespace frame {

// A new text for a file, written beside it under "%s.XXXXXX" and put in its place by Commit. Until
// then, and when anything fails, the file keeps what it holds and no temporary file stays behind.
//
// Each step returns 0 or the code to record.
class FileRewrite {
 public:
  // `path` must outlive the rewrite.
  explicit FileRewrite(const char* path) : path_(path) {}
  ~FileRewrite();
  FileRewrite(const FileRewrite&) = delete;
  FileRewrite& operator=(const FileRewrite&) = delete;

  int Open();
  int Write(std::string_view text);
  // Copies what is left of `source`.
  int CopyRest(FILE* source);
  int Commit();

 private:
  const char* path_;
  char temporary_[4096] = "";
  platform::UniqueStream stream_;
};

}  // namespace frame

#endif  // FRAME_FILE_REWRITE_H_
