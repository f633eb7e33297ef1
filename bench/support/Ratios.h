#ifndef VEL_BENCH_RATIOS_H_
#define VEL_BENCH_RATIOS_H_

#include <string>

namespace vel::bench {

// What the numbers of a run are for: one measured thing beside a peer that
// does the same job.
struct Ratio {
  std::string ours;
  std::string peer;
  double goal;  // ours / peer, at most; 0 where nothing is promised
};

// Makes a row of the table that ends the run. A row shows when both were
// measured. The names are those of the benchmarks.
void add_ratio(const std::string& ours, const std::string& peer, double goal);

// For namespace scope.
struct AddRatio {
  AddRatio(const char* ours, const char* peer, double goal = 0) {
    add_ratio(ours, peer, goal);
  }
};

// Runs the benchmarks of the program, several rounds of all of them in a
// changing order, and prints the table. Takes Google Benchmark's arguments.
// Zero when all went well; a missed goal is told, but isn't a failure.
int run_benchmarks(int argc, char** argv);

}  // namespace vel::bench

#endif  // VEL_BENCH_RATIOS_H_
