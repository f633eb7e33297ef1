#ifndef VEL_BENCH_RATIOS_H_
#define VEL_BENCH_RATIOS_H_

#include <string>
#include <vector>

namespace vel::bench {

// Makes a row of the table that ends the run: one measured thing beside a peer
// that does the same job. A row shows when both were measured. The names are
// those of the benchmarks; `goal` is ours / peer at most, 0 where nothing is
// promised.
void add_ratio(const std::string& ours, const std::string& peer, double goal);

// The same against a fixed time in nanoseconds.
void add_limit(const std::string& ours, double limit);

// What was measured elsewhere, in nanoseconds for each round; for the tables.
void add_samples(const std::string& name, const std::vector<double>& times);

// Runs the benchmarks of the program, many short rounds of all of them in a
// changing order, and prints the tables. Takes Google Benchmark's arguments.
// Zero when all went well; a missed goal is told, but isn't a failure.
int run_benchmarks(int argc, char** argv);

}  // namespace vel::bench

#endif  // VEL_BENCH_RATIOS_H_
