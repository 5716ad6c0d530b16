// Replacing a file whole.
#ifndef PLATFORM_CORE_REPLACEMENT_H_
#define PLATFORM_CORE_REPLACEMENT_H_

#include <string>
#include <string_view>

#include "platform/handles.h"
#include "platform/temporary_file.h"

namespace tavocore {

// A new text for a file, written beside it and put in its place in one step: readers and a crash
// find the old text or the new. Until Commit, and when anything fails, the file keeps what it
// holds. While a replacement lives, other writers in the same directory wait, so that what it reads
// from the old text is still true when the new one takes its place.
//
// Each step returns 0, or the code to record.
class Replacement {
 public:
  Replacement() = default;
  ~Replacement();
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  // Locks the directory, opens what stands there now and starts an empty new text. A link is
  // followed to the file that it stands for, except below /tmp, where it counts as missing.
  int Open(const char* path);
  // The file that is to be replaced; -1 when there is none.
  int old_file() const { return old_.get(); }
  int Write(std::string_view text);
  int Commit();

 private:
  int OpenDirectory(const std::string& path);
  int OpenOld();
  int KeepOwnerAndPermissions();
  int Flush();

  std::string name_;
  std::string pending_;  // written, but not yet handed to the system
  bool locked_ = false;
  bool below_tmp_ = false;
  platform::UniqueFd directory_;
  platform::UniqueFd old_;
  platform::TemporaryFile new_;  // in the directory, and so gone before that is closed
};

}  // namespace tavocore

#endif  // PLATFORM_CORE_REPLACEMENT_H_
