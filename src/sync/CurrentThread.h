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
  // Written out since the compiler takes the intrinsic for a read at address
  // 0x48 of an array without bounds.
  std::uint32_t id;
  asm("movl %%gs:0x48, %0" : "=r"(id));  // ClientId.UniqueThread
  return id;
#else
  return GetCurrentThreadId();
#endif
}

[[nodiscard]] inline std::uint32_t current_process_id() noexcept {
#if defined(__x86_64__)
  std::uint32_t id;
  asm("movl %%gs:0x40, %0" : "=r"(id));  // ClientId.UniqueProcess
  return id;
#else
  return GetCurrentProcessId();
#endif
}

// True when the process is ending and the calling thread is its last: nothing
// that it waits for can change any more. Also true in a process that has only
// one thread. Leaves the last error alone.
[[nodiscard]] bool ThreadIsTerminating() noexcept;

}  // namespace vel

#endif  // VEL_SYNC_CURRENTTHREAD_H_
