#ifndef VEL_SYNC_VELRECURSIVETHREADSPINLOCK_H_
#define VEL_SYNC_VELRECURSIVETHREADSPINLOCK_H_

#include <atomic>
#include <cstdint>

#include "sync/LockScope.h"
#include "sync/ScopedHandle.h"
#include "sync/ThreadAnnotations.h"

namespace vel {

// A recursive lock whose three words belong to the caller, so that several
// modules can share them, and which frees itself when its owner has died.
//
// Not for short waits: Enter() sleeps a millisecond between its tries. Not for
// code that can't stand exceptions.
//
//   state | recursion_cnt | owner_tid | owner_handle
//   free  | 0             | 0         | 0
//   held  | >= 1          | owner     | a handle on the owner, or 0
//
// Invariants: every word is read and written by full-barrier atomics. The
// handle keeps the owner's thread id from being given to a new thread; it is
// good only in the owner's process, so the handle of a dead owner is forgotten,
// not closed. An inner Leave() gives up the handle word without closing the
// handle, and the next TryEnter() opens a new one: that small loss is kept on
// purpose.
// Known limit: the words aren't cleared in one step. When an owner leaves and
// its thread ends while another thread's TryEnter() looks at it, that call can
// clear the count of the next owner. A thread should outlive its last use of
// the lock by a moment.
// Fairness: none. Recursion: 2^31 - 1 entries. Misuse: an exception. Process
// end: no special test; a removed owner is found dead by the next try.
// TryEnter(), Enter() and Leave() may change the last error.
class VEL_CAPABILITY("mutex") VelRecursiveThreadSpinLock {
 public:
  struct Context {
    std::atomic<std::int32_t> recursion_cnt{0};
    std::atomic<std::uint32_t> owner_tid{0};
    std::atomic<std::uint32_t> owner_handle{0};
  };
  static_assert(sizeof(Context) == 12);

  // `ctx` stays the caller's, zeroed before its first use, and outlives this.
  explicit VelRecursiveThreadSpinLock(Context* ctx) noexcept : _ctx(ctx) {}

  // Takes the lock or enters it again; false when another live thread has it.
  // Throws std::runtime_error when the count is below zero.
  [[nodiscard]] bool TryEnter() VEL_TRY_ACQUIRE(true);
  // The same, for as long as it takes.
  void Enter() VEL_ACQUIRE();
  // Throws std::runtime_error, with the owner and the count unchanged, when the
  // caller isn't the owner or the count isn't above zero.
  void Leave() VEL_RELEASE();

  // For the system's other programs.
  [[nodiscard]] bool IsHeld() const noexcept;
  [[nodiscard]] bool IsHeldByMe() const noexcept;

  using Scope =
      LockScope<VelRecursiveThreadSpinLock, &VelRecursiveThreadSpinLock::Enter,
                &VelRecursiveThreadSpinLock::Leave>;

 private:
  void forget_dead_owner();
  // `self` is a handle on the calling thread, the owner.
  void keep_handle(ScopedHandle self);

  Context* _ctx;
};

}  // namespace vel

#endif  // VEL_SYNC_VELRECURSIVETHREADSPINLOCK_H_
