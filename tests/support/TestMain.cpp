// The entry of every test program, with a watchdog: a program that hangs ends,
// after it has printed where each thread stands.
#include <gtest/gtest.h>
#include <windows.h>
#include <tlhelp32.h>

#include <atomic>
#include <cstdio>

#include "support/ChildProcess.h"

namespace {

constexpr unsigned kSecondsForOneTest = 120;
constexpr UINT kHangExitCode = 97;
constexpr int kMaxFrames = 48;

std::atomic<ULONGLONG> deadline{0};

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
  std::fprintf(stderr, "watchdog: no progress for %u s, stacks follow\n",
               kSecondsForOneTest);
  PrintAllStacks();
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), kHangExitCode);
  return 0;
}

struct FeedPerTest : testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    deadline = GetTickCount64() + kSecondsForOneTest * 1000;
  }
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // A trap has to end the process, not to wait in a dialog box.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  if (const auto code = vel::test::RunAsChild(argc, argv)) return *code;
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new FeedPerTest);
  deadline = GetTickCount64() + kSecondsForOneTest * 1000;
  CloseHandle(CreateThread(nullptr, 0, &Watch, nullptr, 0, nullptr));
  return RUN_ALL_TESTS();
}
