#ifndef VEL_SYNC_CURRENTTHREAD_H_
#define VEL_SYNC_CURRENTTHREAD_H_

#include <windows.h>

#include <cstdint>

namespace vel {

// The ids of the calling thread and its process. Read from the thread's
// environment block, where the block's place is known: one instruction, so a
// lock's fast path can afford it. Never zero; last error untouched.
[[nodiscard]] inline std::uint32_t current_thread_id() noexcept {
#if defined(__x86_64__)
  constexpr unsigned long kUniqueThreadOffset = 0x48;
  return static_cast<std::uint32_t>(__readgsdword(kUniqueThreadOffset));
#else
  return GetCurrentThreadId();
#endif
}

[[nodiscard]] inline std::uint32_t current_process_id() noexcept {
#if defined(__x86_64__)
  constexpr unsigned long kUniqueProcessOffset = 0x40;
  return static_cast<std::uint32_t>(__readgsdword(kUniqueProcessOffset));
#else
  return GetCurrentProcessId();
#endif
}

}  // namespace vel

#endif  // VEL_SYNC_CURRENTTHREAD_H_
