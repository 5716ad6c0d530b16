// How long a node's host name is.
#ifndef FRAME_HOST_NAME_H_
#define FRAME_HOST_NAME_H_

#include <cstddef>

// Of a host name in a buffer, its ending NUL included.
inline constexpr size_t kHostNameSize = 64;

#endif  // FRAME_HOST_NAME_H_
