#include "channels/VelWorkQueue.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace vel
