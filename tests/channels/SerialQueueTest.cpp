#include "channels/SerialQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "sync/ScopedHandle.h"

namespace vel {
namespace {

class Item : public IVelWorkItem {
 public:
  explicit Item(std::function<void()> work) : _work(std::move(work)) {}
  virtual ~Item() = default;
  void run_and_free() override {
    _work();
    delete this;
  }

 private:
  std::function<void()> _work;
};

void post(SerialQueue& queue, std::function<void()> work) {
  queue.Post(new Item(std::move(work)));
}

TEST(SerialQueue, RunsEachThreadsItemsInOrderAndNeverTwoAtOnce) {
  constexpr int kThreads = 3;
  constexpr int kItems = 5000;
  std::atomic<int> inside{0};
  int overlaps = 0;
  int disorder = 0;
  int next[kThreads] = {};
  {
    SerialQueue queue;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kItems; ++i) {
          post(queue, [&, t, i] {
            if (inside.fetch_add(1) != 0) ++overlaps;
            if (next[t]++ != i) ++disorder;
            --inside;
          });
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }  // runs the queue out
  EXPECT_EQ(0, overlaps);
  EXPECT_EQ(0, disorder);
  for (int count : next) EXPECT_EQ(kItems, count);
}

TEST(SerialQueue, StopRunsWhatWasPostedAndTheNextPostStartsAnew) {
  SerialQueue queue;
  queue.Stop();  // nothing to stop
  int ran = 0;
  for (int round = 1; round <= 3; ++round) {
    post(queue, [&] { Sleep(20); });
    post(queue, [&] { ++ran; });
    queue.Stop();
    EXPECT_EQ(round, ran);
    EXPECT_FALSE(queue.is_running());
  }
}

TEST(SerialQueue, KeepsItsThreadBetweenItems) {
  SerialQueue queue;
  DWORD first = 0;
  DWORD second = 0;
  ScopedHandle done(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  post(queue, [&] {
    first = GetCurrentThreadId();
    SetEvent(done.get());
  });
  WaitForSingleObject(done.get(), INFINITE);
  Sleep(20);
  EXPECT_TRUE(queue.is_running());
  post(queue, [&] { second = GetCurrentThreadId(); });
  queue.Stop();
  EXPECT_EQ(first, second);
  EXPECT_NE(GetCurrentThreadId(), first);
}

TEST(SerialQueue, ItemsMayPost) {
  SerialQueue queue;
  int depth = 0;
  std::function<void()> again = [&] {
    if (++depth < 100) post(queue, again);
  };
  post(queue, again);
  // Stop's null lets one item through at a time.
  while (depth < 100) queue.Stop();
  EXPECT_EQ(100, depth);
}

// Posts meet the consumer's end at every moment. Each item must run without a
// later post to help it.
TEST(SerialQueue, PostsDuringStopsAreNotLeftBehind) {
  SerialQueue queue;
  std::atomic<bool> stop{false};
  std::thread stopper([&] {
    while (!stop) queue.Stop();
  });
  constexpr int kItems = 1500;
  int stuck = 0;
  for (int i = 0; i < kItems && stuck == 0; ++i) {
    std::atomic<bool> ran{false};
    post(queue, [&] { ran = true; });
    const DWORD start = GetTickCount();
    while (!ran && GetTickCount() - start < 5000) SwitchToThread();
    if (!ran) {
      ++stuck;
      queue.Stop();
    }
  }
  stop = true;
  stopper.join();
  EXPECT_EQ(0, stuck);
}

}  // namespace
}  // namespace vel
