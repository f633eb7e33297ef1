#include "sync/VelFastMutex.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "support/Threads.h"
#include "sync/HandleCount.h"

namespace vel {

class VelFastMutexPeer {
 public:
  static HANDLE Event(const VelFastMutex& mutex) { return mutex._event.load(); }
  static unsigned Count(const VelFastMutex& mutex) {
    return mutex._count.load();
  }
  static HANDLE NeedEvent(VelFastMutex& mutex) {
    return VelFastMutex::need_event(mutex._event, false);
  }
};

namespace {

using Peer = VelFastMutexPeer;

TEST(VelFastMutex, UncontendedUseMakesNoEvent) {
  for (const bool multi : {true, false}) {
    const bool saved = std::exchange(multi_cpu, multi);
    VelFastMutex mutex;
    for (int i = 0; i < 100; ++i) {
      const VelFastMutex::Scope scope(mutex);
      EXPECT_EQ(Peer::Count(mutex), 1u);
    }
    EXPECT_EQ(Peer::Event(mutex), nullptr);
    EXPECT_EQ(Peer::Count(mutex), 0u);
    multi_cpu = saved;
  }
}

TEST(VelFastMutex, ExcludesUnderContention) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 1000;
  for (const bool multi : {true, false}) {
    const bool saved = std::exchange(multi_cpu, multi);
    VelFastMutex mutex;
    long long counter = 0;
    test::RunTogether(kThreads, [&](int) {
      for (int i = 0; i < kRounds; ++i) {
        const VelFastMutex::Scope scope(mutex);
        counter = counter + 1;
        if (i % 250 == 0) Sleep(0);
      }
    });
    EXPECT_EQ(counter, kThreads * kRounds);
    EXPECT_EQ(Peer::Count(mutex), 0u);
    multi_cpu = saved;
  }
}

TEST(VelFastMutex, WaiterGetsTheLockFromItsHolder) {
  VelFastMutex mutex;
  std::atomic<bool> inside{false};
  mutex.lock();
  std::thread waiter([&] {
    const VelFastMutex::Scope scope(mutex);
    inside = true;
  });
  while (Peer::Event(mutex) == nullptr) Sleep(1);
  EXPECT_FALSE(inside);
  mutex.unlock();
  waiter.join();
  EXPECT_TRUE(inside);
  EXPECT_EQ(Peer::Count(mutex), 0u);
}

TEST(VelFastMutex, ThreadsThatMakeTheEventAtOnceLeaveOne) {
  constexpr int kThreads = 4;
  constexpr int kMutexes = 500;
  auto mutexes = std::make_unique<VelFastMutex[]>(kMutexes);
  std::array<std::vector<HANDLE>, kThreads> seen;
  const std::size_t before = test::HandleCount();
  test::RunTogether(kThreads, [&](int number) {
    for (int i = 0; i < kMutexes; ++i) {
      seen[static_cast<std::size_t>(number)].push_back(
          Peer::NeedEvent(mutexes[static_cast<std::size_t>(i)]));
    }
  });
  for (const auto& events : seen) EXPECT_EQ(events, seen[0]);
  EXPECT_EQ(test::HandleCount(), before + kMutexes);
  mutexes.reset();
  EXPECT_EQ(test::HandleCount(), before);
}

}  // namespace
}  // namespace vel
