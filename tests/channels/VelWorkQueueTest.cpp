#include "channels/VelWorkQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace vel {
namespace {

// Only its address counts.
class Item : public IVelWorkItem {
 public:
  void run_and_free() override {}
};

TEST(VelWorkQueue, GivesItemsInOrderAndNullForEachNullPost) {
  VelWorkQueue queue;
  Item items[3];
  queue.Post(&items[0]);
  queue.Post(nullptr);
  queue.Post(&items[1]);
  queue.Post(&items[2]);
  for (Item& item : items) EXPECT_EQ(&item, queue.Pop());
  EXPECT_EQ(nullptr, queue.Pop());
}

TEST(VelWorkQueue, WakesAConsumerThatWaits) {
  VelWorkQueue queue;
  Item item;
  constexpr int kRounds = 200;
  std::atomic<int> popped{0};
  std::thread consumer([&] {
    while (queue.Pop() != nullptr) ++popped;
  });
  for (int i = 1; i <= kRounds; ++i) {
    queue.Post(&item);
    while (popped < i) SwitchToThread();
  }
  queue.Post(nullptr);
  consumer.join();
  EXPECT_EQ(kRounds, popped);
}

TEST(VelWorkQueue, LeavesItsItemsAlone) {
  Item item;
  VelWorkQueue queue;
  queue.Post(&item);
}

}  // namespace
}  // namespace vel
