#include "support/Allocations.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace vel::test {
namespace {

// No thread_local: its first use in a process changes the last error.
std::atomic<std::uint64_t> allocated{0};
std::atomic<DWORD> armed_thread{0};
// The armed thread's own.
bool has_failed = false;
std::size_t left = 0;
std::size_t least_size = 0;

bool fails_now(std::size_t size) {
  if (armed_thread != GetCurrentThreadId() || size < least_size ||
      left-- != 0) {
    return false;
  }
  armed_thread = 0;
  has_failed = true;
  return true;
}

}  // namespace

std::uint64_t AllocatedBytes() {
  return allocated;
}

MemoryRunsOut::MemoryRunsOut(std::size_t passed, std::size_t size) {
  left = passed;
  least_size = size;
  has_failed = false;
  armed_thread = GetCurrentThreadId();
}

MemoryRunsOut::~MemoryRunsOut() {
  armed_thread = 0;
}

bool MemoryRunsOut::happened() const {
  return has_failed;
}

}  // namespace vel::test

void* operator new(std::size_t size) {
  vel::test::allocated += size;
  void* const block =
      vel::test::fails_now(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
