#include <cerrno>

#include "frame/contain.h"
#include "frame/file_rewrite.h"
#include "frame/line_reader.h"
#include "frame/log.h"
#include "platform/handles.h"

namespace {

constexpr char kLogModule[] = "ha";

// Rewrites the file without its first line, which goes to `line`. Returns 0 or the code to record.
int RemoveFirstLine(FILE* source, const char* path, char* line, size_t size) {
  frame::FileRewrite rewrite(path);
  if (const int error = rewrite.Open(); error != 0) return error;
  frame::LineReader reader(source);
  if (reader.Next()) {
    line[reader.bytes().copy(line, size - 1)] = '\0';
  } else if (reader.failed()) {
    return frame::kErrorWrite;
  }
  if (const int error = rewrite.CopyRest(source); error != 0) return error;
  return rewrite.Commit();
}

}  // namespace

int FileRemoveFirstLine(const char* path, char* line, unsigned int size) {
  if (line == nullptr || size == 0 || path == nullptr) {
    HA_LOG_ERROR_TEXT(EINVAL);
    return -1;
  }
  const platform::UniqueStream source(fopen(path, "re"));
  if (!source) return -1;
  const int error = frame::Contain<int>(
      frame::kErrorWrite, [&] { return RemoveFirstLine(source.get(), path, line, size); });
  if (error != 0) HA_RECORD(error);
  return error == 0 ? 0 : -1;
}
