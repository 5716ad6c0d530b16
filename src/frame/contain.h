// Keeping exceptions inside the library.
#ifndef FRAME_CONTAIN_H_
#define FRAME_CONTAIN_H_

#include <cxxabi.h>

#include <exception>

namespace frame {

// Does `work` and returns its result, or `failure` when it ran out of memory: callers are C as well
// as C++, and no exception may reach them. (Only standard exceptions are held: the unwinding of a
// cancelled thread must go on.)
template <typename Result, typename Work>
Result Contain(Result failure, Work&& work) {
  try {
    return work();
  } catch (const std::exception&) {
    return failure;
  }
}

// The same for work that calls code of others, who may throw anything.
template <typename Result, typename Work>
Result ContainForeign(Result failure, Work&& work) {
  try {
    return work();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return failure;
  }
}

}  // namespace frame

#endif  // FRAME_CONTAIN_H_
