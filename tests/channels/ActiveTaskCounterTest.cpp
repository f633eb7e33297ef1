#include "channels/ActiveTaskCounter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "channels/CountedPoolTask.h"
#include "sync/ScopedHandle.h"

namespace vel {
namespace {

// Counts itself and stays in until the gate opens.
class GatedTask : public CountedPoolTask {
 public:
  GatedTask(ActiveTaskCounter* counter, HANDLE gate, std::atomic<int>* ran)
      : CountedPoolTask(counter), _gate(gate), _ran(ran) {}

 protected:
  void run() override {
    WaitForSingleObject(_gate, INFINITE);
    ++*_ran;
  }

 private:
  HANDLE _gate;
  std::atomic<int>* _ran;
};

TEST(ActiveTaskCounter, AnswersAtOnceAndAfterATime) {
  ActiveTaskCounter counter;
  EXPECT_TRUE(counter.Wait(0));
  EXPECT_TRUE(counter.Wait(1000));
  counter.Enter();
  counter.Enter();
  EXPECT_FALSE(counter.Wait(0));
  EXPECT_FALSE(counter.Wait(20));
  counter.Leave();
  EXPECT_FALSE(counter.Wait(20));
  counter.Leave();
  EXPECT_TRUE(counter.Wait(INFINITE));
}

// Threads bring the count to 0 and up again all the time. Whatever they do, it
// can't be 0 while this thread is in, and a wait must not say so.
TEST(ActiveTaskCounter, WaitIsTrueOnlyAtZeroUnderContention) {
  ActiveTaskCounter counter;
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        counter.Enter();
        counter.Leave();
      }
    });
  }
  int early = 0;
  for (int i = 0; i < 100; ++i) {
    counter.Enter();
    if (counter.Wait(1)) ++early;
    counter.Leave();
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, early);
  EXPECT_TRUE(counter.Wait(0));
  EXPECT_TRUE(counter.Wait(1000));
}

TEST(CountedPoolTask, IsCountedFromItsMakingToItsEnd) {
  std::atomic<int> ran{0};
  ScopedHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  auto counter = std::make_unique<ActiveTaskCounter>();
  auto never_started =
      std::make_unique<GatedTask>(counter.get(), gate.get(), &ran);
  EXPECT_FALSE(counter->Wait(0));
  never_started.reset();
  EXPECT_TRUE(counter->Wait(0));

  constexpr int kTasks = 20;
  for (int i = 0; i < kTasks; ++i) {
    ASSERT_TRUE((new GatedTask(counter.get(), gate.get(), &ran))->start());
  }
  EXPECT_FALSE(counter->Wait(20));
  SetEvent(gate.get());
  counter.reset();  // waits
  EXPECT_EQ(kTasks, ran);
}

}  // namespace
}  // namespace vel
