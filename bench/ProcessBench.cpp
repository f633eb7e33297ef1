// Whole processes: the second copy that hands over, the start of the tray, and
// the commands that a running tray answers.
//   process_bench <folder of the product> <bare_sender.exe> [arguments]
#include <windows.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/Ratios.h"
#include "support/WideArguments.h"
#include "sync/ScopedHandle.h"
#include "tray/GuiIpc.h"

namespace vel::bench {
namespace {

constexpr DWORD kTimeoutMs = 60000;
constexpr int kTrayStarts = 11;
constexpr wchar_t kUpEvent[] = L"vel_process_bench_up";

using Clock = std::chrono::steady_clock;

double nanoseconds_since(Clock::time_point start) {
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

std::wstring quoted(const std::wstring& program) {
  return L'"' + program + L'"';
}

ScopedHandle start(std::wstring command_line) {
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, FALSE, 0,
                      nullptr, nullptr, &startup, &process)) {
    return ScopedHandle();
  }
  CloseHandle(process.hThread);
  return ScopedHandle(process.hProcess);
}

// The exit code of a process that ends in time.
std::optional<DWORD> wait_for_end(const ScopedHandle& process) {
  DWORD code = 0;
  if (!process ||
      WaitForSingleObject(process.get(), kTimeoutMs) != WAIT_OBJECT_0 ||
      !GetExitCodeProcess(process.get(), &code)) {
    return std::nullopt;
  }
  return code;
}

// A tray for the length of the scope.
class Tray {
 public:
  explicit Tray(const std::wstring& program) {
    const ScopedHandle up(CreateEventW(nullptr, TRUE, FALSE, kUpEvent));
    const Clock::time_point begin = Clock::now();
    _process = start(quoted(program) + L" /set_event=\"" + kUpEvent + L'"');
    if (!_process) return;
    const HANDLE either[] = {up.get(), _process.get()};
    _is_up =
        WaitForMultipleObjects(2, either, FALSE, kTimeoutMs) == WAIT_OBJECT_0;
    _start_time = nanoseconds_since(begin);
  }
  ~Tray() {
    if (!_process) return;
    if (_is_up) send_gui_ipc(VELGUI_IPC_SHUTDOWN, nullptr);
    if (!wait_for_end(_process)) TerminateProcess(_process.get(), 1);
  }
  Tray(const Tray&) = delete;
  Tray& operator=(const Tray&) = delete;

  [[nodiscard]] bool is_up() const { return _is_up; }
  // From its start to its event, in nanoseconds.
  [[nodiscard]] double start_time() const { return _start_time; }

 private:
  ScopedHandle _process;
  bool _is_up = false;
  double _start_time = 0;
};

void run_to_end(benchmark::State& state, const std::wstring& program) {
  for (auto _ : state) {
    const std::optional<DWORD> code = wait_for_end(start(quoted(program)));
    if (code != 0u) state.SkipWithError("the command line wasn't taken");
  }
}

void no_command(benchmark::State& state) {
  constexpr std::uint32_t kUnknown = 1000;
  for (auto _ : state) {
    benchmark::DoNotOptimize(send_gui_ipc(kUnknown, L""));
  }
}

void block_command(benchmark::State& state) {
  std::uint32_t answer = 0;
  for (auto _ : state) {
    if (!send_gui_ipc_mapped(VELGUI_IPC_IS_SHUTTING_DOWN, &answer,
                             sizeof answer)) {
      state.SkipWithError("the command fails");
    }
  }
}

// The way there and back, with a message that nobody handles.
void empty_message(benchmark::State& state) {
  const HWND window = FindWindowW(VEL_TRAY_WINDOW_CLASS, L"");
  for (auto _ : state) {
    benchmark::DoNotOptimize(SendMessageW(window, WM_NULL, 0, 0));
  }
}

void add(const char* name, void (*function)(benchmark::State&)) {
  constexpr int kIterations = 20;
  benchmark::RegisterBenchmark(name, function)
      ->UseRealTime()
      ->Iterations(kIterations);
}

void add_process(const char* name, const std::wstring& program) {
  benchmark::RegisterBenchmark(
      name, [program](benchmark::State& state) { run_to_end(state, program); })
      ->UseRealTime()
      ->Iterations(1);
}

bool measure_tray_start(const std::wstring& program) {
  std::vector<double> times;
  for (int i = 0; i < kTrayStarts; ++i) {
    const Tray tray(program);
    if (!tray.is_up()) return false;
    times.push_back(tray.start_time());
  }
  add_samples("tray to its event", times);
  return true;
}

int fail(const char* text) {
  std::fprintf(stderr, "process_bench: %s\n", text);
  return 1;
}

}  // namespace

int run_process_benchmarks(int argc, wchar_t** argv) {
  if (argc < 3) return fail("names the product's folder and bare_sender.exe");
  const std::wstring program = std::wstring(argv[1]) + L"\\Brindlemar.exe";
  if (!measure_tray_start(program)) return fail("the tray doesn't come up");
  const Tray tray(program);
  if (!tray.is_up()) return fail("the tray doesn't come up");

  add_process("second copy", program);
  add_process("bare sender", argv[2]);
  add("IPC command without effect", no_command);
  add("IPC command with a block", block_command);
  add("empty message", empty_message);
  add_ratio("second copy", "bare sender", 1.1);
  add_ratio("tray to its event", "bare sender", 0);
  add_ratio("IPC command without effect", "empty message", 0);
  add_ratio("IPC command with a block", "IPC command without effect", 0);

  argv[2] = argv[0];
  WideArguments rest(argc - 2, argv + 2);
  return run_benchmarks(rest.count(), rest.data());
}

}  // namespace vel::bench

int wmain(int argc, wchar_t** argv) {
  return vel::bench::run_process_benchmarks(argc, argv);
}
