#include "channels/SerialQueue.h"

#include <optional>

#include "channels/ActiveTaskCounter.h"
#include "channels/CountedPoolTask.h"
#include "support/Threads.h"

namespace vel {
namespace {

struct Item final : IVelWorkItem {
  explicit Item(std::function<void()> to_do) : work(std::move(to_do)) {}
  void run_and_free() override {
    work();
    delete this;
  }
  const std::function<void()> work;
};

TEST(SerialQueue, RunsEachThreadsItemsInOrderAndNeverTwoAtOnce) {
  constexpr int kThreads = 3;
  constexpr int kItems = 5000;
  std::atomic<int> inside{0};
  int faults = 0;
  int next[kThreads] = {};
  {
    SerialQueue queue;
    test::RunTogether(kThreads, [&](int thread) {
      for (int i = 0; i < kItems; ++i) {
        queue.Post(new Item([&, thread, i] {
          faults += inside.fetch_add(1) != 0;
          faults += next[thread]++ != i;
          --inside;
        }));
      }
    });
  }  // runs the queue out
  EXPECT_EQ(0, faults);
  for (int count : next) EXPECT_EQ(kItems, count);
}

// Posts, from items too, meet the consumer's end at every moment. Each item
// must run without a later post to help it.
TEST(SerialQueue, PostsDuringStopsAreNotLeftBehind) {
  std::atomic<bool> ran{false};
  std::atomic<bool> stop{false};
  SerialQueue queue;
  int stuck = 0;
  test::RunTogether(3, [&](int number) {
    while (number != 0 && !stop) queue.Stop();
    for (int i = 0; number == 0 && i < 1500 && stuck == 0; ++i) {
      ran = false;
      queue.Post(new Item([&] { queue.Post(new Item([&] { ran = true; })); }));
      const DWORD start = GetTickCount();
      while (!ran && GetTickCount() - start < 5000) SwitchToThread();
      if (!ran) ++stuck;
    }
    stop = true;
  });
  EXPECT_EQ(0, stuck);
}

struct GatedTask : CountedPoolTask {
  using CountedPoolTask::CountedPoolTask;
  void run() override {
    while (!gate) Sleep(1);
  }
  static inline std::atomic<bool> gate;
};

// Threads bring the count to 0 and up again all the time. Whatever they do, it
// can't be 0 while this thread is in, and a wait must not say so.
TEST(ActiveTaskCounter, WaitIsTrueOnlyAtZeroUnderContention) {
  ActiveTaskCounter counter;
  std::atomic<bool> stop{false};
  int early = 0;
  test::RunTogether(4, [&](int number) {
    while (number != 0 && !stop) counter.Enter(), counter.Leave();
    for (int i = 0; number == 0 && i < 100; ++i) {
      counter.Enter();
      early += counter.Wait(1);
      counter.Leave();
    }
    stop = true;
  });
  EXPECT_EQ(0, early);
  EXPECT_TRUE(counter.Wait(0));
}

TEST(CountedPoolTask, IsCountedFromItsMakingToItsEnd) {
  GatedTask::gate = false;
  std::optional<ActiveTaskCounter> counter(std::in_place);
  {
    const GatedTask never_started(&*counter);
    EXPECT_FALSE(counter->Wait(20));
  }
  EXPECT_TRUE(counter->Wait(0));
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE((new GatedTask(&*counter))->start());
  }
  EXPECT_FALSE(counter->Wait(20));
  GatedTask::gate = true;
  counter.reset();  // waits
}

}  // namespace
}  // namespace vel
