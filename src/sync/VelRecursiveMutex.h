#ifndef VEL_SYNC_VELRECURSIVEMUTEX_H_
#define VEL_SYNC_VELRECURSIVEMUTEX_H_

#include <atomic>
#include <cstdint>

#include "sync/CurrentThread.h"
#include "sync/LockScope.h"
#include "sync/Trap.h"
#include "sync/VelFastMutex.h"

namespace vel {

// A VelFastMutex that its holder may enter again.
//
// Not for code that can tell whether it holds the lock: VelFastMutex is
// smaller, and a state that is whole at each entry is easier to reason about.
//
//   state | _count | _owner | _recursion
//   free  | 0      | 0      | 0
//   held  | >= 1   | holder | >= 1, the holder's entries
//
// Invariants: only the holder writes _owner and _recursion. A thread reads its
// own id in _owner only while it is the holder.
// Fairness and process end: as VelFastMutex. Recursion: up to 2^31 - 1 entries.
// Misuse: try_enter() traps when it finds a depth that fits neither state;
// leave() by a thread that isn't the holder isn't noticed.
// Memory order: the outermost enter() acquires, the outermost leave() releases.
class VEL_CAPABILITY("mutex") VelRecursiveMutex : private VelFastMutex {
 public:
  constexpr VelRecursiveMutex() noexcept = default;

  void enter() noexcept VEL_ACQUIRE() VEL_NO_THREAD_ANALYSIS {
    if (take_free()) {
      if (_recursion++ == 0) become_owner();
    } else if (is_mine()) {
      ++_recursion;
    } else {
      wait_to_enter();
    }
  }

  // Never waits: false when another thread is in.
  [[nodiscard]] bool try_enter() noexcept
      VEL_TRY_ACQUIRE(true) VEL_NO_THREAD_ANALYSIS;

  void leave() noexcept VEL_RELEASE() VEL_NO_THREAD_ANALYSIS {
    if (--_recursion != 0) return;
    _owner.store(0, std::memory_order_relaxed);
    VelFastMutex::unlock();
  }

  using Scope = LockScope<VelRecursiveMutex, &VelRecursiveMutex::enter,
                          &VelRecursiveMutex::leave>;

 private:
  friend class VelRecursiveMutexPeer;

  // Exact without a barrier: nobody else stores or clears the caller's id.
  [[nodiscard]] bool is_mine() const noexcept {
    return _owner.load(std::memory_order_relaxed) == current_thread_id();
  }
  void become_owner() noexcept {
    _owner.store(current_thread_id(), std::memory_order_relaxed);
  }
  void wait_to_enter() noexcept VEL_NO_THREAD_ANALYSIS;

  std::atomic<std::uint32_t> _owner{0};
  std::int32_t _recursion = 0;
};

}  // namespace vel

#endif  // VEL_SYNC_VELRECURSIVEMUTEX_H_
