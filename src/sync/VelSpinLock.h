#ifndef VEL_SYNC_VELSPINLOCK_H_
#define VEL_SYNC_VELSPINLOCK_H_

#include <atomic>
#include <cstdint>

#include "sync/CurrentThread.h"
#include "sync/LockScope.h"
#include "sync/ThreadAnnotations.h"

namespace vel {

// A lock of one 32-bit word and no kernel object, which can tell that its owner
// is dead: for state that a thread may die in, and for code that runs while the
// process ends.
//
// Not for waits that last: a waiter burns its time slices, 65536 yields before
// its first sleep. Not for the log or a VelProfileHolder: the wait is timed by
// a holder, and both report through the log.
//
//   word | meaning         | lock()                        | unlock()
//   0    | free            | own id                        | stays 0
//   id   | owned by thread | waits; own id once it is free | 0
//   id   | owner is dead   | own id, by compare-exchange   |
//        |                 | from the dead one's id        |
//
// Invariants: the word changes only by compare-exchange or exchange, every one
// a full barrier. A steal can't hit a new owner: it expects the id of the owner
// that was found dead, and the dead don't come back to release.
// Fairness: none. Recursion: none, a second lock() by the owner waits for ever,
// for its probe finds itself alive. Misuse: an unlock() by another thread isn't
// noticed.
// Dead owners: a waiter that finds no such thread after 65536 passes takes the
// lock and logs that. A thread that has ended counts as alive for as long as
// somebody keeps a handle on it open.
// Process end: the last thread takes the lock from whoever had it, and logs
// that.
//
// Zero is its construction, and it has no destructor: it can lie anywhere.
class VEL_CAPABILITY("mutex") VelSpinLock {
 public:
  constexpr VelSpinLock() noexcept = default;
  VelSpinLock(const VelSpinLock&) = delete;
  VelSpinLock& operator=(const VelSpinLock&) = delete;

  void lock() VEL_ACQUIRE() {
    std::uint32_t seen = 0;
    if (!_word.compare_exchange_strong(seen, current_thread_id())) {
      WaitLoop(&_word);
    }
  }

  void unlock() noexcept VEL_RELEASE() { _word.exchange(0); }

  // The wait behind lock(): returns when `word` holds the caller's id.
  static void WaitLoop(std::atomic<std::uint32_t>* word);

  using Scope =
      LockScope<VelSpinLock, &VelSpinLock::lock, &VelSpinLock::unlock>;

 private:
  friend class VelSpinLockPeer;

  std::atomic<std::uint32_t> _word{0};
};
static_assert(sizeof(VelSpinLock) == sizeof(std::uint32_t));

}  // namespace vel

#endif  // VEL_SYNC_VELSPINLOCK_H_
