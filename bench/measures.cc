#include "bench/measures.h"

#include <benchmark/benchmark.h>
#include <fmt/core.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>

namespace bench {
namespace {

// Keeps the time of every repetition instead of printing it.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        fmt::print(stderr, "{}: {}\n", run.benchmark_name(), run.error_message);
        failed_ = true;
      } else if (run.run_type == Run::RT_Iteration) {
        // A call that waits for others says so. Any other costs what its own thread is charged for,
        // however busy the machine is with something else.
        const bool by_clock = !run.run_name.time_type.empty();
        const double time = by_clock ? run.real_accumulated_time : run.cpu_accumulated_time;
        times_[NameOf(run)].push_back(time / static_cast<double>(run.iterations));
      }
    }
  }

  bool failed() const { return failed_; }

  // The median time of one iteration in seconds.
  double Median(const std::string& name) {
    std::vector<double>& times = times_[name];
    if (times.empty()) return std::numeric_limits<double>::quiet_NaN();
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::ranges::nth_element(times, middle);
    return *middle;
  }

 private:
  // As it was registered: "GetEvents/1000".
  static std::string NameOf(const Run& run) {
    const std::string& arguments = run.run_name.args;
    return run.run_name.function_name + (arguments.empty() ? "" : "/" + arguments);
  }

  std::map<std::string, std::vector<double>> times_;
  bool failed_ = false;
};

// Takes "--NAME" or "--NAME=VALUE" out of the arguments; returns whether it was there.
bool TakeOption(std::vector<char*>* arguments, std::string_view name, std::string* value) {
  for (auto it = arguments->begin(); it != arguments->end(); ++it) {
    const std::string_view argument = *it;
    if (!argument.starts_with(name)) continue;
    const std::string_view rest = argument.substr(name.size());
    if (!rest.empty() && rest.front() != '=') continue;
    if (value != nullptr && !rest.empty()) *value = rest.substr(1);
    arguments->erase(it);
    return true;
  }
  return false;
}

}  // namespace

int Report(int argc, char** argv, const std::vector<Measure>& measures) {
  std::vector<char*> arguments(argv, argv + argc);
  std::string report;
  TakeOption(&arguments, "--report", &report);
  const bool once = TakeOption(&arguments, "--once", nullptr);
  std::vector<std::string> own = once ? std::vector<std::string>{"--benchmark_min_time=0"}
                                      : std::vector<std::string>{
                                            "--benchmark_min_time=0.02",
                                            "--benchmark_repetitions=41",
                                            "--benchmark_enable_random_interleaving=true",
                                        };
  for (std::string& option : own) arguments.insert(arguments.begin() + 1, option.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());

  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  if (collector.failed()) return 2;
  if (once) return 0;

  auto lines = nlohmann::ordered_json::array();
  if (std::ifstream earlier(report); earlier) earlier >> lines;
  bool all_ok = true;
  for (const Measure& measure : measures) {
    double reference = std::numeric_limits<double>::infinity();
    for (const std::string& name : measure.references) {
      reference = std::min(reference, collector.Median(name));
    }
    const double subject = collector.Median(measure.subject);
    const double ratio = subject / reference;
    if (!(ratio >= 0)) continue;  // left out by a filter
    const bool ok = ratio <= measure.limit;
    all_ok = all_ok && ok;
    fmt::print("{:<44} {:6.2f} {:6.2f} {}\n", measure.name, ratio, measure.limit,
               ok ? "ok" : "over");
    lines.push_back({{"name", measure.name},
                     {"ratio", ratio},
                     {"limit", measure.limit},
                     {"ok", ok},
                     {"subject_microseconds", subject * 1e6},
                     {"reference_microseconds", reference * 1e6}});
  }
  if (!report.empty()) std::ofstream(report) << lines.dump(2) << '\n';
  return all_ok ? 0 : 1;
}

}  // namespace bench
