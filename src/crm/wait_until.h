// Waiting for the cluster to change.
#ifndef CRM_WAIT_UNTIL_H_
#define CRM_WAIT_UNTIL_H_

#include <chrono>

#include "frame/pause.h"

namespace crm {

// How often to look, and how long to pause between two looks.
struct Budget {
  int checks;
  std::chrono::seconds pause;
};

// Asks done(0), done(1) and so on, until one says true or the budget's checks are used up. After a
// check that says false, if another follows, does before_pause() and pauses. Returns whether one
// said true.
template <typename Done, typename BeforePause>
bool WaitUntil(const Budget& budget, Done done, BeforePause before_pause) {
  for (int check = 0; !done(check);) {
    if (++check == budget.checks) return false;
    before_pause();
    if (budget.pause > budget.pause.zero()) frame::Pause(budget.pause);
  }
  return true;
}

template <typename Done>
bool WaitUntil(const Budget& budget, Done done) {
  return WaitUntil(budget, done, [] {});
}

}  // namespace crm

#endif  // CRM_WAIT_UNTIL_H_
