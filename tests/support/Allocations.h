// What operator new does in a test program: counted, and made to fail. A test
// program that uses this has Allocations.cpp among its sources.
#ifndef VEL_TESTS_SUPPORT_ALLOCATIONS_H_
#define VEL_TESTS_SUPPORT_ALLOCATIONS_H_

#include <cstddef>
#include <cstdint>

namespace vel::test {

// The bytes that the process has allocated so far.
std::uint64_t AllocatedBytes();

// Memory runs out once for the calling thread: after `passed` allocations of at
// least `size` bytes have succeeded, the next one throws.
class MemoryRunsOut {
 public:
  explicit MemoryRunsOut(std::size_t passed, std::size_t size = 0);
  ~MemoryRunsOut();
  MemoryRunsOut(const MemoryRunsOut&) = delete;
  MemoryRunsOut& operator=(const MemoryRunsOut&) = delete;

  // Whether it has come to that.
  bool happened() const;
};

}  // namespace vel::test

#endif  // VEL_TESTS_SUPPORT_ALLOCATIONS_H_
