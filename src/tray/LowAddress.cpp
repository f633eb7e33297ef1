#include "tray/LowAddress.h"

#include <windows.h>

#include <cstdint>
#include <new>

namespace vel {
namespace {

// Below lie the null pages and what the system puts first; above 2 GiB the
// address would change its sign.
constexpr std::uintptr_t kFirstHint = 0x01000000;
constexpr std::uintptr_t kLimit = 0x80000000;
constexpr std::uintptr_t kHintStep = 0x00100000;

}  // namespace

void* allocate_low(std::size_t size) {
  for (std::uintptr_t hint = kFirstHint; hint + size < kLimit;
       hint += kHintStep) {
    void* memory = VirtualAlloc(reinterpret_cast<void*>(hint), size,
                                MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (memory != nullptr) return memory;
  }
  throw std::bad_alloc();
}

void free_low(void* memory) noexcept {
  if (memory != nullptr) VirtualFree(memory, 0, MEM_RELEASE);
}

}  // namespace vel
