// The log call beside spdlog's, with a thread-safe sink to a file as ours is.
#include <windows.h>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <string>

#include "log/VelLog.h"
#include "support/Ratios.h"

namespace vel::bench {
namespace {

std::string scratch_file() {
  char folder[MAX_PATH] = "";
  GetTempPathA(MAX_PATH, folder);
  return folder + ("vel_bench." + std::to_string(GetCurrentProcessId())) +
         ".log";
}

// Both logs of the process, with trace lines dropped.
class Logs {
 public:
  Logs() : _file(scratch_file()) {
    SetEnvironmentVariableW(L"VELLOG", L"2");
    IVelLog::create(L"VELBENCH");
    _spdlog = spdlog::basic_logger_mt("bench", _file, true);
    _spdlog->set_level(spdlog::level::warn);
  }
  ~Logs() {
    IVelLog::release();
    spdlog::drop("bench");
    _spdlog.reset();
    DeleteFileA(_file.c_str());
  }

  [[nodiscard]] spdlog::logger& peer() const { return *_spdlog; }

 private:
  std::string _file;
  std::shared_ptr<spdlog::logger> _spdlog;
};

Logs& logs() {
  static Logs both;
  return both;
}

void dropped(benchmark::State& state) {
  logs();
  int number = 0;
  for (auto _ : state) {
    VelLog_Print(kLogTrace, L"item %i of '%s'", ++number, L"Normal");
    benchmark::ClobberMemory();
  }
}
BENCHMARK(dropped)
    ->Name("VelLog_Print dropped")
    ->UseRealTime()
    ->Iterations(100000);

void spdlog_dropped(benchmark::State& state) {
  spdlog::logger& logger = logs().peer();
  int number = 0;
  for (auto _ : state) {
    logger.debug("item {} of '{}'", ++number, "Normal");
    benchmark::ClobberMemory();
  }
}
BENCHMARK(spdlog_dropped)
    ->Name("spdlog dropped")
    ->UseRealTime()
    ->Iterations(100000);

void kept(benchmark::State& state) {
  logs();
  int number = 0;
  for (auto _ : state) {
    VelLog_Print(kLogWarning, L"item %i of '%s'", ++number, L"Normal");
  }
}
BENCHMARK(kept)->Name("VelLog_Print kept")->UseRealTime()->Iterations(10000);

void spdlog_kept(benchmark::State& state) {
  spdlog::logger& logger = logs().peer();
  int number = 0;
  for (auto _ : state) {
    logger.warn(L"item {} of '{}'", ++number, L"Normal");
  }
}
BENCHMARK(spdlog_kept)
    ->Name("spdlog wide to a file")
    ->UseRealTime()
    ->Iterations(10000);

bool add_all() {
  add_ratio("VelLog_Print dropped", "spdlog dropped", 1.2);
  add_ratio("VelLog_Print kept", "spdlog wide to a file", 1.25);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
