#include "tests/support/virtual_clock.h"

#include <chrono>
#include <mutex>
#include <utility>

#include "simcluster/time/virtual_time.h"

namespace test_support {
namespace {

std::recursive_mutex mutex;  // the callback may ask for the pauses so far
std::function<void(size_t)> callback;
std::vector<double> lengths;

void NotePause(std::chrono::nanoseconds length) {
  const std::lock_guard lock(mutex);
  // One division, so that 100 ms give the number 0.1.
  lengths.push_back(static_cast<double>(length.count()) / 1e9);
  if (callback) callback(lengths.size());
}

}  // namespace

VirtualClock::VirtualClock(std::function<void(size_t number)> on_pause) {
  callback = std::move(on_pause);
  lengths.clear();
  simcluster::SetPauseHandler(NotePause);
}

VirtualClock::~VirtualClock() {
  simcluster::SetPauseHandler(nullptr);
  callback = nullptr;
}

std::vector<double> VirtualClock::pauses() const {
  const std::lock_guard lock(mutex);
  return lengths;
}

}  // namespace test_support
