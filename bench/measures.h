// The report: each measure sets an operation against what it cannot do without, or against what a
// user would take instead.
#ifndef BENCH_MEASURES_H_
#define BENCH_MEASURES_H_

#include <string>
#include <vector>

namespace bench {

// The subject's median time over that of the fastest reference. All are names of benchmarks.
struct Measure {
  std::string name;
  std::string subject;
  std::vector<std::string> references;
  double limit;
};

// Runs every registered benchmark, repeated and interleaved, prints a line "NAME RATIO LIMIT
// ok|over" for each measure and adds the same to the JSON file `--report=FILE`. With `--once`, runs
// each benchmark once and judges nothing. Takes those two options out of `argv`; the others
// are Google Benchmark's. Returns the exit status: 1 when a measure is over its limit.
int Report(int argc, char** argv, const std::vector<Measure>& measures);

}  // namespace bench

#endif  // BENCH_MEASURES_H_
