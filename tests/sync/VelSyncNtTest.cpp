#include "sync/VelSyncNt.h"

#include <gtest/gtest.h>

#include "support/LogCapture.h"
#include "support/Threads.h"
#include "sync/CurrentThread.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

TEST(CurrentThread, AgreesWithTheSystem) {
  EXPECT_EQ(current_process_id(), GetCurrentProcessId());
  test::RunTogether(
      2, [](int) { EXPECT_EQ(current_thread_id(), GetCurrentThreadId()); });
}

TEST(VelSyncNt, MultiCpuIsTheValueOfTheMask) {
  DWORD_PTR process = 0;
  DWORD_PTR system = 0;
  ASSERT_TRUE(GetProcessAffinityMask(GetCurrentProcess(), &process, &system));
  EXPECT_EQ(multi_cpu, process >= 2);
}

TEST(WaitExclusive, TellsASignalFromAFailure) {
  const test::LogCapture log;
  const ScopedHandle event(CreateEventW(nullptr, FALSE, TRUE, nullptr));
  EXPECT_EQ(WaitExclusive(event.get()), kWaitSignalled);
  EXPECT_EQ(WaitExclusive(nullptr), kWaitFailed);
  EXPECT_TRUE(log.Contains(3, L"WaitExclusive(0x0)- 0xc0000008"));
}

// Longer than one slice of the wait.
TEST(WaitExclusive, WaitsPastItsSlices) {
  const ScopedHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  std::thread signaller([&] {
    Sleep(1200);
    SetEvent(event.get());
  });
  EXPECT_EQ(WaitExclusive(event.get()), kWaitSignalled);
  signaller.join();
}

LRESULT CALLBACK SignalOnMessage(HWND window, UINT message, WPARAM wparam,
                                 LPARAM lparam) {
  if (message != WM_APP) return DefWindowProcW(window, message, wparam, lparam);
  SetEvent(reinterpret_cast<HANDLE>(lparam));
  return 0;
}

TEST(WaitWithMessages, DeliversMessagesWhileItWaits) {
  const ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  const HWND window = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0,
                                      HWND_MESSAGE, nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  SetWindowLongPtrW(window, GWLP_WNDPROC,
                    reinterpret_cast<LONG_PTR>(SignalOnMessage));
  PostMessageW(window, WM_APP, 0, reinterpret_cast<LPARAM>(event.get()));
  EXPECT_EQ(WaitWithMessages(event.get()), kWaitSignalled);
  DestroyWindow(window);
}

TEST(WaitWithMessages, ReportsAFailedWait) {
  const test::LogCapture log;
  EXPECT_EQ(WaitWithMessages(nullptr), kWaitFailed);
  EXPECT_TRUE(log.Contains(3, L"VEL_LOG_WIN32_CALL: '.\\VelSyncNt': "));
}

}  // namespace
}  // namespace vel
