#include "sync/VelRecursiveMutex.h"

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/Threads.h"

namespace vel {

class VelRecursiveMutexPeer {
 public:
  static unsigned Owner(const VelRecursiveMutex& mutex) {
    return mutex._owner.load();
  }
  static int Recursion(const VelRecursiveMutex& mutex) {
    return mutex._recursion;
  }
  static void SetRecursion(VelRecursiveMutex& mutex, int depth) {
    mutex._recursion = depth;
  }
};

namespace {

using Peer = VelRecursiveMutexPeer;

TEST(VelRecursiveMutex, CountsItsHoldersEntries) {
  VelRecursiveMutex mutex;
  mutex.enter();
  mutex.enter();
  EXPECT_TRUE(mutex.try_enter());
  EXPECT_EQ(Peer::Owner(mutex), current_thread_id());
  EXPECT_EQ(Peer::Recursion(mutex), 3);
  mutex.leave();
  mutex.leave();
  EXPECT_EQ(Peer::Owner(mutex), current_thread_id());
  mutex.leave();
  EXPECT_EQ(Peer::Owner(mutex), 0u);
  EXPECT_EQ(Peer::Recursion(mutex), 0);
}

TEST(VelRecursiveMutex, TryEnterByAnotherThreadFailsWithoutWaiting) {
  VelRecursiveMutex mutex;
  const auto try_elsewhere = [&mutex] {
    bool entered = false;
    std::thread([&] {
      entered = mutex.try_enter();
      if (entered) mutex.leave();
    }).join();
    return entered;
  };
  mutex.enter();
  EXPECT_FALSE(try_elsewhere());
  mutex.leave();
  EXPECT_TRUE(try_elsewhere());
  EXPECT_EQ(Peer::Owner(mutex), 0u);
}

TEST(VelRecursiveMutex, ExcludesUnderContention) {
  constexpr int kThreads = 6;
  constexpr int kRounds = 2000;
  VelRecursiveMutex mutex;
  long long counter = 0;
  test::RunTogether(kThreads, [&](int) {
    for (int i = 0; i < kRounds; ++i) {
      const VelRecursiveMutex::Scope outer(mutex);
      counter = counter + 1;
      const VelRecursiveMutex::Scope inner(mutex);
      counter = counter + 1;
    }
  });
  EXPECT_EQ(counter, 2 * kThreads * kRounds);
  EXPECT_EQ(Peer::Owner(mutex), 0u);
}

VEL_CHILD_MAIN(RecursiveMutexWithStrayDepth) {
  VelRecursiveMutex mutex;
  Peer::SetRecursion(mutex, 1);
  return mutex.try_enter() ? 1 : 2;
}

TEST(VelRecursiveMutex, TryEnterTrapsAtAStrayDepth) {
  test::ChildProcess child(L"RecursiveMutexWithStrayDepth");
  EXPECT_EQ(child.Wait(), 0x80000003);
}

}  // namespace
}  // namespace vel
