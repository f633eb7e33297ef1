// The log call beside spdlog's, with a thread-safe sink to a file as ours is.
#include <windows.h>

#include <cstdarg>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <string>

#include "log/VelLog.h"
#include "log/VelLogStream.h"
#include "support/Ratios.h"

namespace vel {

class VelLogStreamPeer {
 public:
  explicit VelLogStreamPeer(VelLogStream& stream) : _stream(stream) {}
  void write_out(void* data, std::uint32_t length) {
    _stream.write_out(data, length);
  }
  void append(const void* data, std::uint32_t length) {
    std::uint32_t written;
    _stream.append(data, length, &written);
  }
  void rotate_at(std::uint64_t limit) { _stream._rotation_limit = limit; }

 private:
  VelLogStream& _stream;
};

}  // namespace vel

namespace vel::bench {
namespace {

std::string scratch_file() {
  char folder[MAX_PATH] = "";
  GetTempPathA(MAX_PATH, folder);
  return folder + ("vel_bench." + std::to_string(GetCurrentProcessId())) +
         ".log";
}

// A log's object beside the process's own log. `flags` is what VELLOGFLAGS
// says: "1" for a plain file.
class Stream {
 public:
  Stream(const wchar_t* source, const wchar_t* flags) {
    SetEnvironmentVariableW(L"VELLOGFLAGS", flags);
    _stream = std::make_unique<VelLogStream>(source);
    SetEnvironmentVariableW(L"VELLOGFLAGS", nullptr);
  }

  void print(unsigned level, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    _stream->print(level, format, args);
    va_end(args);
  }
  VelLogStream& get() { return *_stream; }

 private:
  std::unique_ptr<VelLogStream> _stream;
};

// All logs of the process, with trace lines dropped.
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

  Stream plain{L"VELBENCH1", L"1"};
  Stream enciphered{L"VELBENCH2", L"0"};
  Stream pushed{L"VELBENCH5", L"1"};

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

// A buffer goes to the file about every 800 records.
void kept(benchmark::State& state) {
  logs();
  int number = 0;
  for (auto _ : state) {
    VelLog_Print(kLogWarning, L"item %i of '%s'", ++number, L"Normal");
  }
}

template <Stream Logs::*kStream>
void kept_by(benchmark::State& state) {
  Stream& stream = logs().*kStream;
  int number = 0;
  for (auto _ : state) {
    stream.print(kLogWarning, L"item %i of '%s'", ++number, L"Normal");
  }
}

void spdlog_kept(benchmark::State& state) {
  spdlog::logger& logger = logs().peer();
  int number = 0;
  for (auto _ : state) {
    logger.warn(L"item {} of '{}'", ++number, L"Normal");
  }
}

// A buffer's write with the rotation check before it, and without.
constexpr std::uint32_t kPushBytes = 0x10000;

void push(benchmark::State& state) {
  static unsigned char data[kPushBytes + kLogUnitBytes];
  VelLogStreamPeer log(logs().pushed.get());
  for (auto _ : state) log.write_out(data, kPushBytes);
}

void bare_push(benchmark::State& state) {
  static unsigned char data[kPushBytes];
  VelLogStreamPeer log(logs().pushed.get());
  for (auto _ : state) log.append(data, kPushBytes);
}

// A unit's write that is due for a rotation each time.
void rotation(benchmark::State& state) {
  Stream stream(L"VELBENCH3", L"0");
  VelLogStreamPeer log(stream.get());
  log.rotate_at(100);
  unsigned char data[2 * kLogUnitBytes] = {};
  for (auto _ : state) log.write_out(data, kLogUnitBytes);
}

void start(benchmark::State& state, bool with_key) {
  for (auto _ : state) {
    if (!with_key) {
      state.PauseTiming();
      RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\AppDataLow\\VELVolatile");
      state.ResumeTiming();
    }
    const VelLogStream stream(L"VELBENCH4");
  }
}

constexpr char kKept[] = "VelLog_Print kept";
constexpr char kPlain[] = "kept, plain";
constexpr char kEnciphered[] = "kept, enciphered";
constexpr char kSpdlog[] = "spdlog wide to a file";

using Function = void(benchmark::State&);

void add_kept(const char* name, Function* function) {
  constexpr int kIterations = 10000;
  for (const int threads : {1, 2, 4}) {
    benchmark::RegisterBenchmark(name, function)
        ->UseRealTime()
        ->Iterations(kIterations)
        ->Threads(threads);
  }
}

template <typename Body>
void add_rare(const char* name, int iterations, Body body) {
  benchmark::RegisterBenchmark(name, body)
      ->UseRealTime()
      ->Iterations(iterations);
}

bool add_all() {
  add_kept(kKept, kept);
  add_kept(kPlain, kept_by<&Logs::plain>);
  add_kept(kEnciphered, kept_by<&Logs::enciphered>);
  add_kept(kSpdlog, spdlog_kept);
  add_rare("64 KiB with the rotation check", 100, push);
  add_rare("64 KiB without it", 100, bare_push);
  add_rare("rotation", 20, rotation);
  add_rare("log's start", 20,
           [](benchmark::State& state) { start(state, true); });
  add_rare("log's start, key to be made", 20,
           [](benchmark::State& state) { start(state, false); });

  add_ratio("VelLog_Print dropped", "spdlog dropped", 1.2);
  for (const std::string threads : {"", " x2", " x4"}) {
    add_ratio(kKept + threads, kSpdlog + threads, 1.25);
    add_ratio(kEnciphered + threads, kPlain + threads, 1.15);
  }
  add_ratio("64 KiB with the rotation check", "64 KiB without it", 0);
  add_ratio("rotation", "64 KiB without it", 0);
  add_ratio("log's start, key to be made", "log's start", 0);
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
