// What every fuzz target stands on: a private root, tools that are no programs, files in one line.
#ifndef FUZZ_HARNESS_H_
#define FUZZ_HARNESS_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fuzz {

// What each tool that is run from now on prints, and its wait status.
void SetToolAnswer(std::string_view output, int wait_status = 0);

void WriteFile(const char* path, std::string_view content);
std::string ReadFile(const char* path);

// The fuzzer takes it for a crash when something that must hold does not.
inline void Require(bool holds) {
  if (!holds) abort();
}

}  // namespace fuzz

// A target: FUZZ(data) { ... } with the input as a std::string_view.
#define FUZZ(data)                                                           \
  static void Fuzz(std::string_view data);                                   \
  extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) { \
    Fuzz({reinterpret_cast<const char*>(bytes), size});                      \
    return 0;                                                                \
  }                                                                          \
  static void Fuzz(std::string_view data)

#endif  // FUZZ_HARNESS_H_
