#include "support/Ratios.h"
#include "support/WideArguments.h"

int wmain(int argc, wchar_t** argv) {
  vel::bench::WideArguments args(argc, argv);
  return vel::bench::run_benchmarks(args.count(), args.data());
}
