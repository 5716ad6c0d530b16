#include "frame/log.h"

#include <cerrno>
#include <cstdarg>

#include "platform/handles.h"

void __halog(int priority, const char* format, ...) {
  const int error_to_show = errno;
  const platform::ErrnoKeeper keeper;
  openlog(nullptr, LOG_CONS | LOG_PID, LOG_USER);
  errno = error_to_show;  // for "%m", whatever opening the log did
  va_list arguments;
  va_start(arguments, format);
  vsyslog(priority, format, arguments);
  va_end(arguments);
}
