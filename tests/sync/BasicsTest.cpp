#include <gtest/gtest.h>

#include <stdexcept>

#include "support/LogCapture.h"
#include "support/Threads.h"
#include "sync/OnceGuard.h"
#include "sync/ScopedHandle.h"
#include "sync/VelSyncNt.h"

namespace vel {
namespace {

TEST(OnceGuard, OneThreadWorksAndTheOthersSeeTheResult) {
  OnceGuard guard;
  int runs = 0;
  int value = 0;
  test::RunTogether(8, [&](int) {
    guard.run([&] {
      ++runs;
      Sleep(20);
      value = 42;
    });
    EXPECT_EQ(value, 42);
  });
  EXPECT_EQ(runs, 1);
}

TEST(OnceGuard, WorkThatThrowsRunsAnewAndTheLastErrorStays) {
  OnceGuard guard;
  int runs = 0;
  const auto work = [&] {
    SetLastError(1);
    if (++runs == 1) throw std::runtime_error("no");
  };
  SetLastError(0x1234);
  EXPECT_THROW(guard.run(work), std::runtime_error);
  guard.run(work);
  guard.run(work);
  EXPECT_EQ(GetLastError(), 0x1234u);
  EXPECT_EQ(runs, 2);
}

HANDLE NewEvent() {
  return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

bool IsOpen(HANDLE handle) {
  DWORD flags;
  return GetHandleInformation(handle, &flags) != 0;
}

TEST(ScopedHandle, ClosesOnceAndKeepsTheLastError) {
  const HANDLE replaced = NewEvent();
  const HANDLE kept = NewEvent();
  {
    ScopedHandle first(replaced);
    ScopedHandle second(kept);
    first = std::move(second);
    EXPECT_FALSE(IsOpen(replaced));
    *second.put() = NewEvent();
    CloseHandle(second.release());
    SharedHandle shared{std::move(first)};
    const SharedHandle copy = shared;
    shared.reset();
    EXPECT_TRUE(IsOpen(kept));
    SetLastError(0x1234);
  }
  EXPECT_EQ(GetLastError(), 0x1234u);
  EXPECT_FALSE(IsOpen(kept));
}

TEST(VelSyncNt, AFailedWaitIsLogged) {
  const test::LogCapture log;
  EXPECT_EQ(WaitExclusive(nullptr), kWaitFailed);
  EXPECT_TRUE(log.Contains(3, L"WaitExclusive(0x0)- 0xc0000008"));
  EXPECT_EQ(WaitWithMessages(nullptr), kWaitFailed);
  EXPECT_TRUE(log.Contains(3, L"VEL_LOG_WIN32_CALL: '.\\VelSyncNt': "));
}

TEST(VelSyncNt, WaitWithMessagesDeliversThem) {
  static const ScopedHandle event(NewEvent());
  SetTimer(nullptr, 0, 10,
           [](HWND, UINT, UINT_PTR, DWORD) { SetEvent(event.get()); });
  EXPECT_EQ(WaitWithMessages(event.get()), kWaitSignalled);
}

}  // namespace
}  // namespace vel
