#include "sync/EventCache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "sync/ProcAddress.h"
#include "TestLibraries.h"

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

TEST_F(EventCacheTest, GivesBackTheLastEventFirstAndSignalled) {
  const HANDLE first = _cache.take();
  const HANDLE second = _cache.take();
  EXPECT_TRUE(is_signalled(first));
  ResetEvent(first);
  _cache.give_back(second);
  _cache.give_back(first);
  EXPECT_EQ(first, _cache.take());
  EXPECT_TRUE(is_signalled(first));
  EXPECT_EQ(second, _cache.take());
  _cache.give_back(first);
  _cache.give_back(second);
}

TEST_F(EventCacheTest, ClosesTheEventThatFindsNoRoom) {
  HANDLE events[EventCacheBlock::kCapacity + 1];
  for (HANDLE& event : events) event = _cache.take();
  for (HANDLE event : events) _cache.give_back(event);
  EXPECT_EQ(EventCacheBlock::kCapacity, EventCachePeer::count(_cache));
  EXPECT_TRUE(is_open(events[EventCacheBlock::kCapacity - 1]));
  EXPECT_FALSE(is_open(events[EventCacheBlock::kCapacity]));
}

TEST_F(EventCacheTest, WorksWithoutABlockOnceClosed) {
  const HANDLE cached = _cache.take();
  const HANDLE kept = _cache.take();
  _cache.give_back(cached);
  _cache.close();
  EXPECT_FALSE(is_open(cached));
  EXPECT_EQ(0u, EventCachePeer::count(event_cache()));
  _cache.give_back(kept);
  EXPECT_FALSE(is_open(kept));
  const HANDLE fresh = _cache.take();
  EXPECT_TRUE(is_signalled(fresh));
  _cache.give_back(fresh);
  EXPECT_FALSE(is_open(fresh));
}

TEST_F(EventCacheTest, NeverGivesOneEventToTwo) {
  std::atomic<int> shared{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1500; ++i) {
        const HANDLE event = _cache.take();
        if (!is_signalled(event)) ++shared;
        ResetEvent(event);
        _cache.give_back(event);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, shared);
}

TEST_F(EventCacheTest, IsSharedWithLibrariesThatHoldTheCode) {
  const std::wstring path = test::LibraryPath(L"task_library.dll");
  const HMODULE library = LoadLibraryW(path.c_str());
  ASSERT_NE(nullptr, library);
  auto* const take = proc_address<HANDLE (*)()>(library, "TakeEvent");
  const HANDLE event = _cache.take();
  _cache.give_back(event);
  EXPECT_EQ(event, take());
  EXPECT_EQ(0u, EventCachePeer::count(_cache));
  _cache.give_back(event);
  FreeLibrary(library);
}

}  // namespace
}  // namespace vel
