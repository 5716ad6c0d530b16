#include "frame/boost.h"

#include <tavohacore/frame.h>

#include "platform/handles.h"

namespace frame {
namespace {

constexpr int kBoostNice = -15;
constexpr int kBoostIoPriority = 1 << 13;  // real-time class, level 0
constexpr int kBoostOomScoreAdj = -900;
constexpr int kBoostOomAdj = -13;

}  // namespace

PriorityBoost::PriorityBoost()
    : saved_{0, 0, TAVOHA_PRIORITY_NOT_SET, TAVOHA_PRIORITY_NOT_SET},
      raised_(TAVOHAChkIfChangePriority() != 0 &&
              TAVOHAGetPriority(&saved_.nice, &saved_.io_priority, &saved_.oom_score_adj,
                                &saved_.oom_adj) != 0) {
  if (raised_) {
    TAVOHASetPriority(kBoostNice, kBoostIoPriority, kBoostOomScoreAdj, kBoostOomAdj);
  }
}

PriorityBoost::~PriorityBoost() {
  const platform::ErrnoKeeper keeper;
  if (raised_) {
    TAVOHASetPriority(saved_.nice, saved_.io_priority, saved_.oom_score_adj, saved_.oom_adj);
  }
}

}  // namespace frame
