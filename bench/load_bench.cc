// Loading and unloading the library, in a program that is not linked with it.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <vector>

#include "bench/measures.h"

namespace {

void Load(benchmark::State& state, const char* path) {
  for (auto _ : state) {
    void* library = dlopen(path, RTLD_LAZY);
    if (library == nullptr) state.SkipWithError(dlerror());
    dlclose(library);
  }
}
BENCHMARK_CAPTURE(Load, ours, CORE_LIBRARY);
BENCHMARK_CAPTURE(Load, empty, EMPTY_LIBRARY);

const std::vector<bench::Measure> kMeasures = {
    {"Load+unload / empty C++ library", "Load/ours", {"Load/empty"}, 2.0},
};

}  // namespace

int main(int argc, char** argv) { return bench::Report(argc, argv, kMeasures); }
