#include <tavohacore/dl.h>

#include "frame/boost.h"
#include "frame/contain.h"

namespace {

// A function of the full library, which stays loaded for as long as this lives.
template <typename Signature>
class FullLibraryFunction {
 public:
  explicit FullLibraryFunction(const char* symbol) {
    void* address = nullptr;
    if (TAVOHADlGetFP(symbol, &address) == 0) function_ = reinterpret_cast<Signature*>(address);
  }
  ~FullLibraryFunction() {
    if (function_ != nullptr) TAVOHADlClose();
  }
  FullLibraryFunction(const FullLibraryFunction&) = delete;
  FullLibraryFunction& operator=(const FullLibraryFunction&) = delete;

  explicit operator bool() const { return function_ != nullptr; }
  template <typename... Arguments>
  auto operator()(Arguments... arguments) const {
    return function_(arguments...);
  }

 private:
  Signature* function_ = nullptr;
};

}  // namespace

int TAVOHAIsHybridDL(void* first, void* second) {
  const frame::PriorityBoost boost;
  const FullLibraryFunction<int(void*, void*)> is_hybrid("TAVOHAIsHybrid");
  if (!is_hybrid) return -1;
  return frame::ContainForeign(-1, [&] { return is_hybrid(first, second); });
}

void TAVOHAGetOverviewStatusDL(void* first, int second) {
  const frame::PriorityBoost boost;
  const FullLibraryFunction<void(void*, int)> get_overview_status("HAGetOverviewStatus");
  if (!get_overview_status) return;
  frame::ContainForeign(0, [&] {
    get_overview_status(first, second);
    return 0;
  });
}

int TAVOHAUpgradeHandleDL(int argument) {
  const frame::PriorityBoost boost;
  const FullLibraryFunction<int(int)> upgrade_handle("TAVOHAUpgradeHandle");
  if (!upgrade_handle) return -1;
  return frame::ContainForeign(-1, [&] { return upgrade_handle(argument); });
}
