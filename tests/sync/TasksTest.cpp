#include <gtest/gtest.h>

#include <optional>

#include "support/ChildProcess.h"
#include "support/Threads.h"
#include "sync/EventCache.h"
#include "sync/ProcAddress.h"
#include "sync/ScopedHandle.h"
#include "sync/TestLibraries.h"
#include "sync/VelDllHolder.h"

namespace vel {

class EventCachePeer {
 public:
  static std::uint32_t count(EventCache& cache) {
    if (!cache.cache_lock()) return 0;
    const std::uint32_t count = cache._block.load()->count;
    cache.cache_unlock();
    return count;
  }
};

namespace {

bool is_signalled(HANDLE event) {
  return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

bool is_open(HANDLE event) {
  DWORD flags = 0;
  return GetHandleInformation(event, &flags) != 0;
}

// A cache of its own on the block of the process, which it empties first.
class EventCacheTest : public testing::Test {
 protected:
  void SetUp() override {
    while (EventCachePeer::count(_cache) != 0) CloseHandle(_cache.take());
  }
  void TearDown() override { _cache.close(); }

  EventCache _cache;
};

TEST_F(EventCacheTest, KeepsTwentySignalledEventsAsAStack) {
  HANDLE events[EventCacheBlock::kCapacity + 1];
  for (HANDLE& event : events) event = _cache.take();
  for (const HANDLE event : events) {
    ResetEvent(event);
    _cache.give_back(event);
  }
  EXPECT_EQ(EventCachePeer::count(_cache), 20u);
  EXPECT_FALSE(is_open(events[20]));
  for (int i = 19; i >= 0; --i) {
    EXPECT_EQ(_cache.take(), events[i]);
    EXPECT_TRUE(is_signalled(events[i]));
    CloseHandle(events[i]);
  }
}

TEST_F(EventCacheTest, WorksWithoutABlockOnceClosed) {
  const HANDLE cached = _cache.take();
  _cache.give_back(cached);
  _cache.close();
  EXPECT_FALSE(is_open(cached));
  EXPECT_EQ(EventCachePeer::count(event_cache()), 0u);
  const HANDLE fresh = _cache.take();
  _cache.give_back(fresh);
  EXPECT_FALSE(is_open(fresh));
}

TEST_F(EventCacheTest, IsSharedWithLibrariesThatHoldTheCode) {
  const HMODULE library =
      LoadLibraryW(test::LibraryPath(L"plain_library.dll").c_str());
  const HANDLE event = _cache.take();
  _cache.give_back(event);
  EXPECT_EQ(proc_address<HANDLE (*)()>(library, "TakeEvent")(), event);
  EXPECT_EQ(EventCachePeer::count(_cache), 0u);
  _cache.give_back(event);
  FreeLibrary(library);
}

class GatedTask : public VelTask {
 public:
  ~GatedTask() override { wait(); }
  std::atomic<bool> open{false};
  int runs = 0;

 protected:
  void run() override {
    while (!open.exchange(false)) Sleep(1);
    ++runs;
  }
};

// Runs that overlap would end in a trap.
TEST(VelTask, RunsAgainWhenItIsIdle) {
  GatedTask task;
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(task.start());
    EXPECT_TRUE(task.is_running());
    task.open = true;
  }
  EXPECT_TRUE(task.wait());
  EXPECT_EQ(task.runs, 50);
}

TEST(VelTask, UnloadOfALibraryWaitsForItsTasks) {
  const std::wstring path = test::LibraryPath(L"plain_library.dll");
  const HMODULE library = LoadLibraryW(path.c_str());
  ASSERT_NE(library, nullptr);
  const ScopedHandle ended(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  proc_address<void (*)(HANDLE)>(library, "StartSlowTask")(ended.get());
  FreeLibrary(library);
  EXPECT_EQ(WaitForSingleObject(ended.get(), 0), WAIT_OBJECT_0);
  EXPECT_EQ(GetModuleHandleW(path.c_str()), nullptr);
}

// The program doesn't wait for its tasks: they end with it.
VEL_CHILD_MAIN(EndsBeforeItsTask) {
  (new GatedTask)->start();
  return 7;
}

TEST(VelTask, TheProgramEndsBeforeItsTasks) {
  test::ChildProcess process(L"EndsBeforeItsTask");
  EXPECT_EQ(process.Wait(), 7u);
}

bool is_loaded(const std::wstring& path) {
  return GetModuleHandleW(path.c_str()) != nullptr;
}

bool goes_within_seconds(const std::wstring& path) {
  for (int i = 0; i < 1000 && is_loaded(path); ++i) Sleep(10);
  return !is_loaded(path);
}

const std::wstring kRefusing = test::LibraryPath(L"refusing_library.dll");

// The controls of the refusing library; valid while it is loaded.
struct RefusingLibrary {
  explicit RefusingLibrary(HMODULE module)
      : answer_with(proc_address<void (*)(long)>(module, "AnswerWith")),
        times_asked(proc_address<long (*)()>(module, "TimesAsked")) {}
  void (*answer_with)(long);
  long (*times_asked)();
};

TEST(VelDllHolder, FreesALibraryThatIsNotAskedWithTheLastUnload) {
  const std::wstring path = test::LibraryPath(L"plain_library.dll");
  VelDllHolder holder(path.c_str());
  ASSERT_NE(holder.load(), nullptr);
  EXPECT_EQ(holder.load(), GetModuleHandleW(path.c_str()));
  holder.unload();
  EXPECT_TRUE(is_loaded(path));
  holder.unload();
  EXPECT_FALSE(is_loaded(path));
  VelDllHolder missing(L"vel_missing.dll");
  EXPECT_EQ(missing.load(), nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
  missing.unload();
}

TEST(VelDllHolder, AsksARefusingLibraryUntilItAgreesOrHasAUserAgain) {
  VelDllHolder holder(kRefusing.c_str());
  const RefusingLibrary library(holder.load());
  holder.unload();
  while (library.times_asked() < 4) Sleep(10);
  holder.load();
  library.answer_with(0);
  Sleep(200);
  ASSERT_TRUE(is_loaded(kRefusing));
  const long asked = library.times_asked();
  Sleep(150);
  EXPECT_EQ(library.times_asked(), asked);
  holder.unload();
  EXPECT_TRUE(goes_within_seconds(kRefusing));
}

TEST(VelDllHolder, DestructorWaitsForTheLibraryToGo) {
  std::optional<VelDllHolder> holder(kRefusing.c_str());
  const RefusingLibrary library(holder->load());
  holder->unload();
  std::thread agree([library] {
    Sleep(200);
    library.answer_with(0);
  });
  holder.reset();
  EXPECT_FALSE(is_loaded(kRefusing));
  agree.join();
}

TEST(VelDllHolder, SurvivesUsersWhoComeAndGo) {
  VelDllHolder holder(kRefusing.c_str());
  test::RunTogether(3, [&](int number) {
    for (int i = 0; i < 60; ++i) {
      RefusingLibrary(holder.load()).answer_with((i + number) % 3 == 0);
      holder.unload();
    }
  });
  RefusingLibrary(holder.load()).answer_with(0);
  holder.unload();
  EXPECT_TRUE(goes_within_seconds(kRefusing));
}

}  // namespace
}  // namespace vel
