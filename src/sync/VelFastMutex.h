#ifndef VEL_SYNC_VELFASTMUTEX_H_
#define VEL_SYNC_VELFASTMUTEX_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "sync/LockScope.h"
#include "sync/NtApi.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelSyncNt.h"

namespace vel {

// The lock of ordinary code: one atomic step to take and one to release while
// nobody contends, an event only from the first contention on.
//
// Not for the log (lock() may log) and not for state that a thread may leave
// behind when it is killed: a holder that dies while the process lives on holds
// the lock for good. VelSpinLock notices such an owner.
//
//   _count | meaning                       | lock()            | unlock()
//   0      | free                          | 1, taken          | misuse
//   1      | held, nobody waits            | 2, then waits     | 0
//   n > 1  | held, n - 1 want it           | n + 1, then waits | n - 1, a wake
//
// Invariants: _count changes only atomically; _event goes from null to a handle
// once; between unlock() with waiters and the waiter's return the lock belongs
// to that waiter, so the count never shows it free.
// Fairness: handed over in the order in which the event wakes its waiters; a
// late comer can't overtake them.
// Recursion: a second lock() by the holder waits for ever. Misuse: an unlock()
// without a lock() isn't noticed, and the lock excludes nobody any more.
// Process end: the last thread gets through lock() after about 100 ms, whoever
// held the lock.
// Memory order: lock() acquires, unlock() releases. Last error is kept.
//
// Plain data: zero is its construction, so `constinit` statics work at once.
class VEL_CAPABILITY("mutex") VelFastMutex {
 public:
  constexpr VelFastMutex() noexcept = default;
  // Closes the event; nobody may hold or want the lock. A handle that somebody
  // else has closed is a trap.
  ~VelFastMutex();
  VelFastMutex(const VelFastMutex&) = delete;
  VelFastMutex& operator=(const VelFastMutex&) = delete;

  void lock() noexcept VEL_ACQUIRE() {
    if (multi_cpu) {
      if (!take_free()) lock_after_yield();
    } else if (_count.fetch_add(1, std::memory_order_acquire) != 0) {
      wait_for_turn();
    }
  }

  void unlock() noexcept VEL_RELEASE() {
    if (_count.fetch_sub(1, std::memory_order_release) != 1) wake_next();
  }

  using Scope =
      LockScope<VelFastMutex, &VelFastMutex::lock, &VelFastMutex::unlock>;

 protected:
  // Takes the lock if it is free: the count goes from 0 to 1.
  [[nodiscard]] bool take_free() noexcept {
    std::uint32_t seen = 0;
    return _count.compare_exchange_strong(seen, 1, std::memory_order_acquire,
                                          std::memory_order_relaxed);
  }

  // The event in `field`, made on first use as `signalled` says; never null. An
  // event that can't be made, set or closed is a trap.
  static HANDLE need_event(std::atomic<HANDLE>& field, bool signalled) noexcept;
  static void set_event(std::atomic<HANDLE>& field, bool signalled) noexcept;
  static void close_event(std::atomic<HANDLE>& field) noexcept;

 private:
  friend class VelFastMutexPeer;

  void lock_after_yield() noexcept;
  void wait_for_turn() noexcept;
  void wake_next() noexcept;

  std::atomic<HANDLE> _event{nullptr};
  std::atomic<std::uint32_t> _count{0};
};

}  // namespace vel

#endif  // VEL_SYNC_VELFASTMUTEX_H_
