// The library's one clock.
#ifndef FRAME_PAUSE_H_
#define FRAME_PAUSE_H_

#include <chrono>

namespace frame {

// Pauses the calling thread for exactly that long: a signal does not shorten it. Every pause of the
// library goes through here, and from here through clock_nanosleep.
void Pause(std::chrono::nanoseconds length);

}  // namespace frame

#endif  // FRAME_PAUSE_H_
