#include "channels/ActiveTaskCounter.h"

#include <optional>

#include "channels/CountedPoolTask.h"
#include "support/Threads.h"

namespace vel {
namespace {

// Stays in until the gate opens.
class GatedTask : public CountedPoolTask {
 public:
  GatedTask(ActiveTaskCounter* counter, std::atomic<bool>* gate)
      : CountedPoolTask(counter), _gate(gate) {}

 protected:
  void run() override {
    while (!*_gate) Sleep(1);
  }

 private:
  std::atomic<bool>* const _gate;
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
  std::atomic<bool> gate{false};
  std::optional<ActiveTaskCounter> counter(std::in_place);
  {
    const GatedTask never_started(&*counter, &gate);
    EXPECT_FALSE(counter->Wait(20));
  }
  EXPECT_TRUE(counter->Wait(0));
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE((new GatedTask(&*counter, &gate))->start());
  }
  EXPECT_FALSE(counter->Wait(20));
  gate = true;
  counter.reset();  // waits
}

}  // namespace
}  // namespace vel
