// A named lock for the time of a scope.
#ifndef FRAME_FILE_LOCK_H_
#define FRAME_FILE_LOCK_H_

#include <tavohacore/frame.h>

namespace frame {

// Attempts after the first that the library makes before it gives up a lock, a second apart.
inline constexpr unsigned kLockRetries = 10;

class FileLock {
 public:
  FileLock(HA_FILE_LOCK_TYPE type, unsigned retries) { HAFileLock(&stream_, type, retries); }
  ~FileLock() { HAFileUnlock(&stream_); }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool held() const { return stream_ != nullptr; }

 private:
  FILE* stream_ = nullptr;
};

}  // namespace frame

#endif  // FRAME_FILE_LOCK_H_
