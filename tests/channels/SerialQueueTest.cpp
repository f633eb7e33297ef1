#include "channels/SerialQueue.h"

#include "support/Threads.h"

namespace vel {
namespace {

class Item final : public IVelWorkItem {
 public:
  explicit Item(std::function<void()> work) : _work(std::move(work)) {}
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
  int faults = 0;
  int next[kThreads] = {};
  {
    SerialQueue queue;
    test::RunTogether(kThreads, [&](int thread) {
      for (int i = 0; i < kItems; ++i) {
        post(queue, [&, thread, i] {
          faults += inside.fetch_add(1) != 0;
          faults += next[thread]++ != i;
          --inside;
        });
      }
    });
  }  // runs the queue out
  EXPECT_EQ(0, faults);
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
      post(queue, [&] { post(queue, [&] { ran = true; }); });
      const DWORD start = GetTickCount();
      while (!ran && GetTickCount() - start < 5000) SwitchToThread();
      if (!ran) ++stuck;
    }
    stop = true;
  });
  EXPECT_EQ(0, stuck);
}

}  // namespace
}  // namespace vel
