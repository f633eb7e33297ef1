#include "support/LogCapture.h"
#include "support/Threads.h"
#include "sync/EventCache.h"
#include "sync/ProcAddress.h"
#include "sync/ScopedHandle.h"
#include "sync/VelDllHolder.h"
#include "sync/VelSyncNt.h"
#include "sync/VelTask.h"

namespace vel {
namespace {

constexpr wchar_t kLibrary[] = L"sync_library.dll";

TEST(EventCache, KeepsTwentySignalledEventsForAllModules) {
  EventCache cache;
  HANDLE events[EventCacheBlock::kCapacity + 1];
  DWORD flags;
  // Twenty of other tests at most, then new ones.
  for (int i = 0; i < 20; ++i) CloseHandle(cache.take());
  for (HANDLE& event : events) event = cache.take();
  for (const HANDLE event : events) {
    ResetEvent(event);
    cache.give_back(event);
  }
  EXPECT_FALSE(GetHandleInformation(events[20], &flags));
  const HMODULE library = LoadLibraryW(kLibrary);
  EXPECT_EQ(proc_address<HANDLE (*)()>(library, "TakeEvent")(), events[19]);
  for (int i = 18; i >= 1; --i) {
    EXPECT_EQ(cache.take(), events[i]);
    EXPECT_EQ(WaitForSingleObject(events[i], 0), WAIT_OBJECT_0);
    CloseHandle(events[i]);
  }
  FreeLibrary(library);  // empties the cache
  EXPECT_FALSE(GetHandleInformation(events[0], &flags));
  cache.close();
  cache.give_back(events[19]);
  EXPECT_FALSE(GetHandleInformation(events[19], &flags));
}

TEST(VelSyncNt, WaitsDeliverMessagesAndLogTheirFailure) {
  static const ScopedHandle event(CreateEventW(nullptr, 1, 0, nullptr));
  SetTimer(nullptr, 0, 10,
           [](HWND, UINT, UINT_PTR, DWORD) { SetEvent(event.get()); });
  EXPECT_EQ(WaitWithMessages(event.get()), kWaitSignalled);
  const test::LogCapture log;
  EXPECT_EQ(WaitExclusive(nullptr), kWaitFailed);
  EXPECT_TRUE(log.Contains(3, L"WaitExclusive(0x0)- 0xc0000008"));
  EXPECT_EQ(WaitWithMessages(nullptr), kWaitFailed);
  EXPECT_TRUE(log.Contains(3, L"VEL_LOG_WIN32_CALL: '.\\VelSyncNt': "));
}

TEST(VelSyncNt, AWaitPutsTheEndOfTheOuterLoopBack) {
  static const ScopedHandle event(CreateEventW(nullptr, 1, 0, nullptr));
  PostQuitMessage(42);
  SetTimer(nullptr, 0, 50,
           [](HWND, UINT, UINT_PTR, DWORD) { SetEvent(event.get()); });
  EXPECT_EQ(WaitWithMessages(event.get()), kWaitSignalled);
  MSG message{};
  EXPECT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(message.wParam, 42u);
  EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
}

struct SleepingTask final : VelTask {
  void run() override { Sleep(1), ++runs; }
  int runs = 0;
};

// Runs that overlap would end in a trap.
TEST(VelTask, RunsAgainWhenItIsIdle) {
  SleepingTask task;
  for (int round = 0; round < 50; ++round) ASSERT_TRUE(task.start());
  EXPECT_TRUE(task.wait());
  EXPECT_EQ(task.runs, 50);
}

TEST(VelTask, UnloadOfALibraryWaitsForItsTasks) {
  const HMODULE library = LoadLibraryW(kLibrary);
  const ScopedHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  proc_address<void (*)(HANDLE)>(library, "StartSlowTask")(ended.get());
  FreeLibrary(library);
  EXPECT_EQ(WaitForSingleObject(ended.get(), 0), WAIT_OBJECT_0);
  EXPECT_EQ(GetModuleHandleW(kLibrary), nullptr);
}

auto answer_of(HMODULE library) {
  return proc_address<void (*)(long)>(library, "AnswerWith");
}

TEST(VelDllHolder, SurvivesUsersWhoComeAndGoAndEndsWithTheLibrary) {
  std::optional<VelDllHolder> holder(kLibrary);
  test::RunTogether(3, [&](int number) {
    for (int i = 0; i < 60; ++i) {
      answer_of(holder->load())((i + number) % 3 == 0);
      holder->unload();
    }
  });
  const auto answer_with = answer_of(holder->load());
  answer_with(1);
  holder->unload();
  std::jthread agree([&] {
    Sleep(200);
    answer_with(0);
  });
  holder.reset();
  EXPECT_EQ(GetModuleHandleW(kLibrary), nullptr);
}

}  // namespace
}  // namespace vel
