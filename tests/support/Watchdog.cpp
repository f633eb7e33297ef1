#include "support/Watchdog.h"

#include <windows.h>
#include <tlhelp32.h>

#include <atomic>
#include <cstdio>

namespace vel::test {
namespace {

constexpr UINT kHangExitCode = 97;
constexpr int kMaxFrames = 48;

std::atomic<ULONGLONG> deadline{0};
ULONGLONG allowance_ms = 0;

void PrintFrame(DWORD64 address) {
  HMODULE module = nullptr;
  char name[MAX_PATH] = "?";
  if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                             GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                         reinterpret_cast<LPCWSTR>(address), &module)) {
    GetModuleFileNameA(module, name, MAX_PATH);
  }
  const auto base = reinterpret_cast<DWORD64>(module);
  std::fprintf(stderr, "    %s+0x%llx\n", name, address - base);
}

void PrintStack(DWORD thread_id) {
  const HANDLE thread = OpenThread(THREAD_ALL_ACCESS, FALSE, thread_id);
  if (!thread) return;
  SuspendThread(thread);
  alignas(16) CONTEXT context = {};
  context.ContextFlags = CONTEXT_FULL;
  std::fprintf(stderr, "  thread 0x%lx\n", thread_id);
  if (GetThreadContext(thread, &context)) {
    for (int i = 0; i < kMaxFrames && context.Rip; ++i) {
      PrintFrame(context.Rip);
      DWORD64 image = 0;
      auto* function = RtlLookupFunctionEntry(context.Rip, &image, nullptr);
      if (!function) break;
      void* handler_data = nullptr;
      DWORD64 frame = 0;
      RtlVirtualUnwind(UNW_FLAG_NHANDLER, image, context.Rip, function,
                       &context, &handler_data, &frame, nullptr);
    }
  }
  ResumeThread(thread);
  CloseHandle(thread);
}

void PrintAllStacks() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(snapshot, &entry); more;
       more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId() &&
        entry.th32ThreadID != GetCurrentThreadId()) {
      PrintStack(entry.th32ThreadID);
    }
  }
  CloseHandle(snapshot);
}

DWORD WINAPI Watch(void*) {
  while (GetTickCount64() < deadline.load()) Sleep(500);
  std::fprintf(stderr, "watchdog: no progress for %llu s, stacks follow\n",
               allowance_ms / 1000);
  PrintAllStacks();
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), kHangExitCode);
  return 0;
}

}  // namespace

void FeedWatchdog() {
  deadline = GetTickCount64() + allowance_ms;
}

void StartWatchdog(unsigned seconds) {
  allowance_ms = seconds * 1000ULL;
  FeedWatchdog();
  CloseHandle(CreateThread(nullptr, 0, &Watch, nullptr, 0, nullptr));
}

}  // namespace vel::test
