#include "sync/OnceGuard.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/Threads.h"

namespace vel {
namespace {

TEST(OnceGuard, OneThreadWorksAndTheOthersSeeTheResult) {
  constinit static OnceGuard guard;
  int runs = 0;
  int value = 0;
  std::atomic<int> early{0};
  test::RunTogether(8, [&](int) {
    guard.run([&] {
      ++runs;
      Sleep(20);
      value = 42;
    });
    if (value != 42) ++early;
  });
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(early, 0);
}

TEST(OnceGuard, WorkThatThrowsRunsAnew) {
  OnceGuard guard;
  int runs = 0;
  SetLastError(0x1234);
  EXPECT_THROW(guard.run([&] {
    ++runs;
    SetLastError(1);
    throw std::runtime_error("no");
  }),
               std::runtime_error);
  guard.run([&] {
    ++runs;
    SetLastError(2);
  });
  guard.run([&] { ++runs; });
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(GetLastError(), 0x1234u);
}

int& OnePlace() {
  return once_static([] { return 5; });
}

TEST(OnceGuard, EachPlaceHasAnObjectOfItsOwn) {
  int& other = once_static([] { return 5; });
  ++OnePlace();
  EXPECT_EQ(OnePlace(), 6);
  EXPECT_EQ(other, 5);
}

}  // namespace
}  // namespace vel
