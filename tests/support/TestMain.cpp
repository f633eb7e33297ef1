// The entry of every test program. Its last line tells that every test has run
// to its end: run_test.cmake looks for it, since a program can end with 0 in
// other ways. A watchdog ends a program that hangs while its output still tells
// in which test.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "support/ChildProcess.h"

namespace {

constexpr unsigned kSecondsForOneTest = 120;
constexpr UINT kHangExitCode = 97;
constexpr UINT kExitInATestCode = 96;

std::atomic<ULONGLONG> deadline{0};
std::atomic<bool> all_tests_returned{false};

void FeedWatchdog() {
  deadline = GetTickCount64() + kSecondsForOneTest * 1000;
}

DWORD WINAPI Watch(void*) {
  while (GetTickCount64() < deadline.load()) Sleep(500);
  std::fprintf(stderr, "watchdog: no progress for %u s\n", kSecondsForOneTest);
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), kHangExitCode);
  return 0;
}

struct Progress : testing::EmptyTestEventListener {
  void OnTestIterationStart(const testing::UnitTest& all, int) override {
    to_run += all.test_to_run_count();
  }
  void OnTestStart(const testing::TestInfo&) override { FeedWatchdog(); }
  void OnTestEnd(const testing::TestInfo&) override { ++ran; }

  int to_run = 0;
  int ran = 0;
};

// A test that calls exit() hides its own failures and the tests after it.
void RefuseExitInATest() {
  if (all_tests_returned) return;
  std::fflush(stdout);
  std::fprintf(stderr, "exit() was called in a test\n");
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), kExitInATestCode);
}

int RunTests() {
  auto* progress = new Progress;  // gtest deletes it at the end of the process
  testing::UnitTest::GetInstance()->listeners().Append(progress);
  int result = RUN_ALL_TESTS();
  all_tests_returned = true;
  if (testing::GTEST_FLAG(list_tests)) return result;
  if (progress->to_run == 0) {
    std::printf("No test matches the filter.\n");
    result = 1;
  }
  std::printf("End of the test program: %d of %d tests ran, result %d\n",
              progress->ran, progress->to_run, result);
  std::fflush(stdout);
  return result;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  // A trap has to end the process, not to wait in a dialog box.
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  if (const auto code = vel::test::RunAsChild(argc, argv)) return *code;
  testing::InitGoogleTest(&argc, argv);
  std::atexit(RefuseExitInATest);
  FeedWatchdog();
  CloseHandle(CreateThread(nullptr, 0, &Watch, nullptr, 0, nullptr));
  return RunTests();
}
