// How much of what a soak takes on falls to one pass.
#ifndef VEL_TESTS_SUPPORT_SOAK_H_
#define VEL_TESTS_SUPPORT_SOAK_H_

#include <gtest/gtest.h>

#include <algorithm>

namespace vel::test {

// `alone` in a run of one pass. Otherwise so many that all passes together,
// which GTEST_REPEAT sets, come to `total`.
inline int ShareOfSoak(int alone, int total) {
  const int passes = testing::GTEST_FLAG(repeat);
  return passes > 1 ? std::max(alone, total / passes) : alone;
}

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_SOAK_H_
