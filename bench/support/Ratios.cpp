#include "support/Ratios.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

namespace vel::bench {
namespace {

struct Ratio {
  std::string ours;
  std::string peer;
  double goal;
  double limit;  // stands for the peer's time when it isn't 0
};

std::vector<Ratio>& ratios() {
  static std::vector<Ratio> all;
  return all;
}

// Times per round in nanoseconds, by the benchmark's name.
using Samples = std::map<std::string, std::vector<double>>;

Samples& given_samples() {
  static Samples all;
  return all;
}

double median(std::vector<double> values) {
  const auto middle =
      values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double best(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

// Keeps what each round took, and shows the medians only.
class SampleReporter : public benchmark::ConsoleReporter {
 public:
  SampleReporter() : ConsoleReporter(OO_None), _samples(given_samples()) {}

  void ReportRuns(const std::vector<Run>& reports) override {
    for (const Run& run : reports) {
      if (run.error_occurred) {
        std::printf("%s: %s\n", run.benchmark_name().c_str(),
                    run.error_message.c_str());
        _failed = true;
      } else if (run.run_type == Run::RT_Iteration) {
        _samples[name_of(run)].push_back(run.real_accumulated_time * 1e9 /
                                         static_cast<double>(run.iterations));
      }
    }
  }

  bool ReportContext(const Context&) override { return true; }

  [[nodiscard]] const Samples& samples() const { return _samples; }
  [[nodiscard]] bool failed() const { return _failed; }

 private:
  static std::string name_of(const Run& run) {
    std::string name = run.run_name.function_name;
    if (!run.run_name.args.empty()) name += '/' + run.run_name.args;
    if (run.threads > 1) name += " x" + std::to_string(run.threads);
    return name;
  }

  Samples _samples;
  bool _failed = false;
};

void print_times(const Samples& samples) {
  std::printf("%-44s %12s %12s\n", "", "median ns", "best ns");
  for (const auto& [name, times] : samples) {
    std::printf("%-44s %12.1f %12.1f\n", name.c_str(), median(times),
                best(times));
  }
}

// By the two digits that are shown: the rest is noise.
const char* verdict(double ratio, double goal) {
  if (goal == 0) return "";
  return std::round(ratio * 100) <= goal * 100 ? "met" : "MISSED";
}

void print_ratio(const Samples& samples, const Ratio& row) {
  const auto ours = samples.find(row.ours);
  if (ours == samples.end()) return;
  std::vector<double> peer = {row.limit};
  if (row.limit == 0) {
    const auto found = samples.find(row.peer);
    if (found == samples.end()) return;
    peer = found->second;
  }
  const double ratio = median(ours->second) / median(peer);
  char goal[16] = "";
  if (row.goal != 0) std::snprintf(goal, sizeof goal, "<= %.2f", row.goal);
  std::printf("%-34s %-34s %8.2f %8.2f %8s %s\n", row.ours.c_str(),
              row.peer.c_str(), ratio, best(ours->second) / best(peer), goal,
              verdict(ratio, row.goal));
}

}  // namespace

void add_ratio(const std::string& ours, const std::string& peer, double goal) {
  ratios().push_back({ours, peer, goal, 0});
}

void add_limit(const std::string& ours, double limit) {
  char text[32];
  std::snprintf(text, sizeof text, "%.0f ns", limit);
  ratios().push_back({ours, text, 1.0, limit});
}

void add_samples(const std::string& name, const std::vector<double>& times) {
  given_samples()[name] = times;
}

int run_benchmarks(int argc, char** argv) {
  // What comes later wins, so the caller's arguments do.
  std::vector<std::string> defaults = {
      argv[0], "--benchmark_repetitions=101",
      "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> args;
  for (std::string& text : defaults) args.push_back(text.data());
  args.insert(args.end(), argv + 1, argv + argc);
  int count = static_cast<int>(args.size());
  args.push_back(nullptr);
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;

  SampleReporter reporter;
  if (benchmark::RunSpecifiedBenchmarks(&reporter) == 0) return 1;
  print_times(reporter.samples());
  std::printf("\n%-34s %-34s %8s %8s\n", "", "ratio to", "median", "best");
  for (const Ratio& row : ratios()) print_ratio(reporter.samples(), row);
  return reporter.failed() ? 1 : 0;
}

}  // namespace vel::bench
