#ifndef VEL_TESTS_COMPANIONS_HANDLECOUNT_H_
#define VEL_TESTS_COMPANIONS_HANDLECOUNT_H_

#include <cstddef>

namespace vel::test {

// The number of handles that this process has open.
std::size_t HandleCount();

}  // namespace vel::test

#endif  // VEL_TESTS_COMPANIONS_HANDLECOUNT_H_
