// A ready descriptor beside what its promise allows: a lock and a load.
#include <windows.h>

#include <benchmark/benchmark.h>

#include "security/Descriptors.h"
#include "support/Ratios.h"
#include "sync/VelFastMutex.h"

namespace vel::bench {
namespace {

constinit VelFastMutex peer_lock;
int peer_object = 0;
void* peer_pointer = &peer_object;

// Not inlined, as the function of another file isn't.
[[gnu::noinline]] void* lock_and_load() {
  const VelFastMutex::Scope scope(peer_lock);
  return peer_pointer;
}

void run(benchmark::State& state, void* (*get)()) {
  if (get() == nullptr) state.SkipWithError("no descriptor");
  for (auto _ : state) benchmark::DoNotOptimize(get());
}

bool add_all() {
  constexpr double kGoal = 1.2;
  constexpr int kIterations = 200000;
  constexpr char kOurs[] = "GetSecurityDescriptorUserLow";
  constexpr char kPeer[] = "lock and load";
  benchmark::RegisterBenchmark(kOurs,
                               [](benchmark::State& state) {
                                 run(state, &GetSecurityDescriptorUserLow);
                               })
      ->UseRealTime()
      ->Iterations(kIterations);
  benchmark::RegisterBenchmark(
      kPeer, [](benchmark::State& state) { run(state, &lock_and_load); })
      ->UseRealTime()
      ->Iterations(kIterations);
  add_ratio(kOurs, kPeer, kGoal);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
