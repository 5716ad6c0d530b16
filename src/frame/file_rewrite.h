// Replacing a file whole.
#ifndef FRAME_FILE_REWRITE_H_
#define FRAME_FILE_REWRITE_H_

#include <cstdio>
#include <string_view>

#include "platform/handles.h"
#include "platform/temporary_file.h"

namespace frame {

// A new text for a file, written beside it under "%s.XXXXXX" and put in its place by Commit. Until
// then, and when anything fails, the file keeps what it holds and no temporary file stays behind.
//
// Each step returns 0 or the code to record.
class FileRewrite {
 public:
  // `path` must outlive the rewrite.
  explicit FileRewrite(const char* path);
  FileRewrite(const FileRewrite&) = delete;
  FileRewrite& operator=(const FileRewrite&) = delete;

  int Open();
  int Write(std::string_view text);
  // Copies what is left of `source`.
  int CopyRest(FILE* source);
  int Commit();

 private:
  const std::string_view path_;
  const std::string_view name_;  // the last part of the path
  platform::UniqueFd directory_;
  platform::TemporaryFile temporary_;  // in the directory, and so gone before that is closed
};

}  // namespace frame

#endif  // FRAME_FILE_REWRITE_H_
