// The pipe server beside two bare ones that make a task of the pool for each
// command: one that does no more than that, and one that makes the same calls
// to the system for each command. The time for a command, and how long the
// slowest wait, with 1, 4 and 16 clients at once.
#include <windows.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "channels/VelPipeClient.h"
#include "channels/VelPipeServer.h"
#include "security/ClientRights.h"
#include "security/Descriptors.h"
#include "support/Ratios.h"
#include "sync/ScopedHandle.h"
#include "vel/PipeMessage.h"

namespace vel::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr wchar_t kOurPipe[] = L"\\\\.\\pipe\\VELBench";
constexpr wchar_t kBarePipe[] = L"\\\\.\\pipe\\VELBenchBare";
constexpr std::uint32_t kCommand = 7;
constexpr int kCommands = 320;  // in a round, over all clients

class OurServer final : public VelPipeServer, public PipeCommandHandler {
 public:
  OurServer() : VelPipeServer(static_cast<PipeCommandHandler*>(this)) {
    Start();
  }
  ~OurServer() override { Stop(INFINITE); }

 private:
  void GetPipeName(wchar_t* buffer, std::size_t size) override {
    std::wcsncpy(buffer, kOurPipe, size);
  }
  std::intptr_t OnPipeCommand(std::uint32_t command,
                              const std::wstring&) override {
    return command;
  }
};

// `kAsClient`: secured, runs each command as the client and at our server's
// priority.
template <bool kAsClient>
class BareServer {
 public:
  BareServer() : _next(instance()), _loop([this] { listen(); }) {}
  ~BareServer() {
    VelPipeCommand(kBarePipe, VEL_PIPE_EXIT_COMMAND, L"", false);
    _loop.join();
  }

 private:
  static HANDLE instance() {
    SECURITY_ATTRIBUTES security = {sizeof security, nullptr, FALSE};
    if (kAsClient) {
      security.lpSecurityDescriptor = GetSecurityDescriptorUserLow();
    }
    return CreateNamedPipeW(kBarePipe, PIPE_ACCESS_DUPLEX,
                            PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
                            PIPE_UNLIMITED_INSTANCES, 0, 0, 0, &security);
  }
  static DWORD WINAPI answer(void* pipe) {
    const int priority = GetThreadPriority(GetCurrentThread());
    if (kAsClient) {
      SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_HIGHEST);
      ImpersonateNamedPipeClient(pipe);
      if (!ImpersonatedMayActForProcess()) std::abort();
    }
    reply_to(pipe);
    if (kAsClient) {
      RevertToSelf();
      SetThreadPriority(GetCurrentThread(), priority);
    }
    CloseHandle(pipe);
    return 0;
  }
  static void reply_to(HANDLE pipe) {
    DWORD written = 0;
    WriteFile(pipe, &kCommand, sizeof kCommand, &written, nullptr);
    FlushFileBuffers(pipe);
    DisconnectNamedPipe(pipe);
  }
  void listen() {
    std::uint32_t request[1024];
    do {
      const HANDLE current = _next;
      ConnectNamedPipe(current, nullptr);
      _next = instance();
      DWORD read = 0;
      ReadFile(current, request, sizeof request, &read, nullptr);
      QueueUserWorkItem(&answer, current, WT_EXECUTELONGFUNCTION);
    } while (request[0] != VEL_PIPE_EXIT_COMMAND);
    CloseHandle(_next);
  }

  HANDLE _next;
  std::thread _loop;
};

enum class Figure { kTime, kHalf, kSlowest };

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Sends `count` commands and keeps how long each took; false when one fails.
bool send(const wchar_t* pipe, double* waits, int count) {
  for (int i = 0; i < count; ++i) {
    const Clock::time_point start = Clock::now();
    std::uint32_t reply = 0;
    do {
      reply = VelPipeCommand(pipe, kCommand, L"", false);
    } while (reply == 0 && GetLastError() == ERROR_PIPE_BUSY);
    if (reply != kCommand) return false;
    waits[i] = seconds_since(start);
  }
  return true;
}

// One round; empty when a command fails.
std::vector<double> waits_of(const wchar_t* pipe, int clients) {
  std::vector<double> waits(kCommands);
  std::atomic<bool> failed{false};
  std::vector<std::thread> threads;
  const int each = kCommands / clients;
  for (int i = 0; i < clients; ++i) {
    threads.emplace_back([&, i] {
      if (!send(pipe, &waits[static_cast<std::size_t>(i * each)], each)) {
        failed = true;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  if (failed) waits.clear();
  std::sort(waits.begin(), waits.end());
  return waits;
}

template <typename Server>
void run(benchmark::State& state, const wchar_t* pipe, int clients,
         Figure figure) {
  const Server server;
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    const std::vector<double> waits = waits_of(pipe, clients);
    const double time = seconds_since(start) / kCommands;
    if (waits.empty()) {
      state.SkipWithError("a command fails");
      return;
    }
    state.SetIterationTime(figure == Figure::kTime ? time
                           : figure == Figure::kHalf
                               ? waits[kCommands / 2]
                               : waits[kCommands * 99 / 100]);
  }
}

template <typename Server>
void add(const std::string& name, const wchar_t* pipe, int clients,
         Figure figure) {
  constexpr int kRounds = 21;
  benchmark::RegisterBenchmark(name.c_str(),
                               [=](benchmark::State& state) {
                                 run<Server>(state, pipe, clients, figure);
                               })
      ->UseManualTime()
      ->Iterations(1)
      ->Repetitions(kRounds);
}

bool add_all() {
  struct Shown {
    Figure figure;
    const char* name;
    double goal;
  };
  // At least 0.9 times as many commands in the same time.
  constexpr Shown kShown[] = {{Figure::kTime, "time for each", 1.11},
                              {Figure::kHalf, "50th percentile", 0},
                              {Figure::kSlowest, "99th percentile", 0}};
  for (const int clients : {1, 4, 16}) {
    for (const Shown& shown : kShown) {
      const std::string what =
          ", " + std::to_string(clients) + " clients, " + shown.name;
      add<OurServer>("pipe" + what, kOurPipe, clients, shown.figure);
      add<BareServer<true>>("like pipe" + what, kBarePipe, clients,
                            shown.figure);
      add<BareServer<false>>("bare pipe" + what, kBarePipe, clients,
                             shown.figure);
      add_ratio("pipe" + what, "like pipe" + what, shown.goal);
      add_ratio("pipe" + what, "bare pipe" + what, shown.goal);
    }
  }
  return true;
}

const bool added = add_all();

}  // namespace
}  // namespace vel::bench
