// A new file, on the way to take another's place.
#ifndef PLATFORM_TEMPORARY_FILE_H_
#define PLATFORM_TEMPORARY_FILE_H_

#include <sys/types.h>

#include <climits>
#include <string_view>

#include "platform/handles.h"

namespace platform {

// A file with a name that nobody can foresee, beside the one it is to replace. Removed again unless
// it was moved. Works in an open directory, so that no link planted on the way can lead it astray.
// Each step returns false with errno on failure.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Creates the file, empty, as "NAME.XXXXXX" in `directory`, which must stay open.
  bool Create(int directory, std::string_view name, mode_t mode);
  // The file, open for writing.
  const UniqueFd& file() const { return file_; }
  // Appends all of `text`.
  bool Write(std::string_view text);
  // Moves the file to `name` in its directory.
  bool MoveTo(const char* name);

 private:
  int directory_ = -1;
  char name_[NAME_MAX + 1] = "";  // empty while there is none
  UniqueFd file_;
};

}  // namespace platform

#endif  // PLATFORM_TEMPORARY_FILE_H_
