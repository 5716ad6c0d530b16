// Raised priority for the time of one call.
#ifndef FRAME_BOOST_H_
#define FRAME_BOOST_H_

namespace frame {

// While one lives, the process runs with raised CPU and I/O priority and is spared by the kernel's
// out-of-memory killer, provided it is a storage web-service worker and HA runs. An operation that
// is boosted has one as its first line, so that it covers every way out.
class PriorityBoost {
 public:
  PriorityBoost();
  ~PriorityBoost();
  PriorityBoost(const PriorityBoost&) = delete;
  PriorityBoost& operator=(const PriorityBoost&) = delete;

 private:
  struct SavedPriority {
    int nice, io_priority, oom_score_adj, oom_adj;
  };
  SavedPriority saved_;
  bool raised_;
};

}  // namespace frame

#endif  // FRAME_BOOST_H_
