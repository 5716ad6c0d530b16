#include "frame/file_rewrite.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "frame/log.h"
#include "platform/safe_open.h"

namespace frame {

FileRewrite::FileRewrite(const char* path)
    : path_(path), name_(path_.substr(path_.rfind('/') + 1)) {}

int FileRewrite::Open() {
  char directory[4096];
  const std::string_view parent = path_.substr(0, path_.size() - name_.size());
  if (HASnprintf(directory, sizeof directory, "%.*s.", static_cast<int>(parent.size()),
                 parent.data()) == -1) {
    return kErrorOpenTemporary;
  }
  directory_ = platform::SafeOpen(directory, O_PATH | O_DIRECTORY);
  if (!directory_ || !temporary_.Create(directory_.get(), name_, 0600)) return kErrorOpenTemporary;
  return 0;
}

int FileRewrite::Write(std::string_view text) { return temporary_.Write(text) ? 0 : kErrorWrite; }

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
  if (fsync(temporary_.file().get()) != 0) return kErrorWrite;
  return temporary_.MoveTo(name_.data()) ? 0 : kErrorRename;
}

}  // namespace frame
