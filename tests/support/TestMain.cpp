// The entry of every test program, with a watchdog: a program that hangs ends
// while its output still tells in which test.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstdio>

#include "support/ChildProcess.h"

namespace {

constexpr unsigned kSecondsForOneTest = 120;
constexpr UINT kHangExitCode = 97;

std::atomic<ULONGLONG> deadline{0};

DWORD WINAPI Watch(void*) {
  while (GetTickCount64() < deadline.load()) Sleep(500);
  std::fprintf(stderr, "watchdog: no progress for %u s\n", kSecondsForOneTest);
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
