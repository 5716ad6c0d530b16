#include "frame/file_rewrite.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "frame/log.h"

namespace frame {

FileRewrite::~FileRewrite() {
  stream_.reset();
  if (temporary_[0] != '\0') {
    const platform::ErrnoKeeper keeper;
    unlink(temporary_);
  }
}

int FileRewrite::Open() {
  if (HASnprintf(temporary_, sizeof temporary_, "%s.XXXXXX", path_) == -1) {
    temporary_[0] = '\0';
    return kErrorOpenTemporary;
  }
  platform::UniqueFd file(mkostemp(temporary_, O_CLOEXEC));
  if (!file) {
    temporary_[0] = '\0';
    return kErrorOpenTemporary;
  }
  stream_.reset(fdopen(file.get(), "w"));
  if (!stream_) return kErrorOpenTemporary;
  file.release();
  return 0;
}

int FileRewrite::Write(std::string_view text) {
  return fwrite(text.data(), 1, text.size(), stream_.get()) == text.size() ? 0 : kErrorWrite;
}

int FileRewrite::CopyRest(FILE* source) {
  char block[4096];
  for (;;) {
    const size_t length = fread(block, 1, sizeof block, source);
    if (const int error = Write({block, length}); error != 0) return error;
    if (length == sizeof block) continue;
    if (feof(source) != 0) return 0;
    if (errno != EINTR) return kErrorWrite;
    clearerr(source);
  }
}

int FileRewrite::Commit() {
  // The data must be on the disk before the name is: a crash leaves the old text or the new.
  if (fflush(stream_.get()) != 0 || fsync(fileno(stream_.get())) != 0) return kErrorWrite;
  if (fclose(stream_.release()) != 0) return kErrorWrite;
  if (rename(temporary_, path_) != 0) return kErrorRename;
  temporary_[0] = '\0';
  return 0;
}

}  // namespace frame
