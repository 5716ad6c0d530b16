#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iterator>

#include "frame/log.h"
#include "frame/pause.h"
#include "platform/handles.h"
#include "platform/safe_open.h"

HA_FILE_LOCK_ENTRY rgshalckList[HA_FILE_LOCK_COUNT] = {
    {HA_LOCK_SPACE, "/tmp/ha/.ha.space.lock"},
    {HA_LOCK_INFOSET, "/tmp/ha/.ha.infoset.lock"},
    {HA_LOCK_UPGRADE, "/tmp/ha/.ha.upgrade.lock"},
    {HA_LOCK_TAVOLOG_SEND, "/tmp/ha/.ha.tavolog.send.lock"},
    {HA_LOCK_SPACE_CHECK_TASK, "/tmp/ha/.ha.space.check.task.lock"},
    {HA_LOCK_LOAD_OVERVIEW, "/tmp/ha/.ha.load_overview.lock"},
    {HA_LOCK_LOAD_SPACE, "/tmp/ha/.ha.load_space.lock"},
    {HA_LOCK_CRM_OPERATION, "/tmp/ha/.ha.crm_operation.lock"},
    {HA_LOCK_DISK_INFO, "/tmp/ha/.ha.disk_info.lock"},
    {HA_LOCK_HB_OPERATION, "/tmp/ha/.ha.hb_operation.lock"},
};

namespace {

constexpr char kLogModule[] = "ha_file_lock";
constexpr char kLockDirectory[] = "/tmp/ha/";

// Opens the lock file the way fopen's "w+" does, but never through a planted link.
FILE* OpenLockFile(const char* path) {
  platform::UniqueFd file = platform::SafeOpen(path, O_RDWR | O_CREAT | O_TRUNC, 0666);
  FILE* stream = file ? fdopen(file.get(), "w+") : nullptr;
  if (stream != nullptr) file.release();
  return stream;
}

bool TryLock(FILE* stream, unsigned retries) {
  for (unsigned retried = 0; flock(fileno(stream), LOCK_EX | LOCK_NB) != 0; ++retried) {
    if (retried == retries) return false;
    frame::Pause(std::chrono::seconds(1));
  }
  return true;
}

int Fail(FILE** slot) {
  if (*slot != nullptr) fclose(*slot);
  *slot = nullptr;
  return -1;
}

}  // namespace

int HAFindLockType(HA_FILE_LOCK_TYPE type) {
  const auto* row = std::ranges::find(rgshalckList, type, &HA_FILE_LOCK_ENTRY::type);
  return row == std::end(rgshalckList) ? -1 : static_cast<int>(row - rgshalckList);
}

int HAFileLock(FILE** slot, HA_FILE_LOCK_TYPE type, unsigned int retries) {
  if (slot == nullptr) {
    HA_LOG(ERROR, "Error parameter");
    return -1;
  }
  const int row = HAFindLockType(type);
  if (row < 0) {
    HA_LOG(ERROR, "Error file lock type : %d", type);
    return Fail(slot);
  }
  if (mkdir(kLockDirectory, 0755) != 0 && errno != EEXIST) {
    HA_LOG(ERROR, "mkdir failed %s", strerror(errno));
  }
  *slot = OpenLockFile(rgshalckList[row].path);
  if (*slot == nullptr) {
    HA_LOG(ERROR, "failed to fopen %s, errno=%m", rgshalckList[row].path);
    return Fail(slot);
  }
  return TryLock(*slot, retries) ? 0 : Fail(slot);
}

int HAFileUnlock(FILE** slot) {
  if (slot == nullptr || *slot == nullptr) return -1;
  if (flock(fileno(*slot), LOCK_UN) != 0) HA_LOG(ERROR, "failed to unlock, errno=%m");
  fclose(*slot);
  *slot = nullptr;
  return 0;
}
