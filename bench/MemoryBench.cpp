// Thread flags beside the language's own thread-local variable, and memory
// blocks beside a plain copy of their bytes.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/Ratios.h"
#include "sync/ScopedHandle.h"
#include "sync/VelMemUtils.h"
#include "sync/VelThreadFlag.h"

namespace vel::bench {
namespace {

constexpr wchar_t kBlock[] = L"vel_bench_block";

void thread_flag(benchmark::State& state) {
  VelThreadFlag flag;
  for (auto _ : state) {
    benchmark::DoNotOptimize(flag.try_set());
    flag.clear();
  }
}

// The system's slots themselves.
void thread_slot(benchmark::State& state) {
  const DWORD slot = TlsAlloc();
  for (auto _ : state) {
    benchmark::DoNotOptimize(TlsGetValue(slot));
    TlsSetValue(slot, &state);
    benchmark::DoNotOptimize(TlsGetValue(slot));
    TlsSetValue(slot, nullptr);
  }
  TlsFree(slot);
}

std::vector<BYTE> block(benchmark::State& state) {
  return std::vector<BYTE>(static_cast<std::size_t>(state.range(0)), 'x');
}

void write_block(benchmark::State& state) {
  const std::vector<BYTE> data = block(state);
  for (auto _ : state) {
    const ScopedHandle mapping(write_memory_block(data, kBlock));
    if (!mapping) state.SkipWithError("no block");
  }
}

void read_block(benchmark::State& state) {
  const ScopedHandle mapping(write_memory_block(block(state), kBlock));
  std::vector<BYTE> data;
  for (auto _ : state) {
    if (!read_memory_block(data, kBlock)) state.SkipWithError("no block");
  }
}

void copy_block(benchmark::State& state) {
  const std::vector<BYTE> data = block(state);
  for (auto _ : state) {
    std::vector<BYTE> copy(data.size());
    std::memcpy(copy.data(), data.data(), data.size());
    benchmark::DoNotOptimize(copy.data());
  }
}

void add_blocks(const char* name, void (*function)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->Iterations(5)
      ->Repetitions(31)
      ->Arg(1024)
      ->Arg(16 << 20);
}

bool add_all() {
  constexpr int kIterations = 100000;
  benchmark::RegisterBenchmark("thread flag, set and clear", thread_flag)
      ->UseRealTime()
      ->Iterations(kIterations);
  benchmark::RegisterBenchmark("thread slot, twice", thread_slot)
      ->UseRealTime()
      ->Iterations(kIterations);
  add_ratio("thread flag, set and clear", "thread slot, twice", 0);
  add_blocks("memory block, write", write_block);
  add_blocks("memory block, read", read_block);
  add_blocks("copy", copy_block);
  for (const std::string size : {"/1024", "/16777216"}) {
    add_ratio("memory block, write" + size, "copy" + size, 0);
    add_ratio("memory block, read" + size, "copy" + size, 0);
  }
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
