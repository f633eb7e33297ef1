#ifndef VEL_SYNC_VELRWLOCK_H_
#define VEL_SYNC_VELRWLOCK_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "sync/LockScope.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"

namespace vel {

// Many readers or one writer. A VelFastMutex guards the counters; a writer
// keeps it for as long as it writes.
//
// Not for a thread that holds the lock already, in either mode: a reader that
// asks for writing waits for itself, a writer that asks for anything too.
// VelRecursiveRWLock knows what its threads hold.
//
//   state         | fast mutex     | _readers | _writers
//   free          | free           | 0        | 0
//   read-held     | free           | n > 0    | 0
//   writer waits  | free, in turns | n > 0    | >= 1
//   write-held    | the writer's   | 0        | >= 1, itself and those waiting
//
// Invariants: _readers and _writers change only under the mutex. _gate goes
// from null to a handle once; it starts signalled, so the first writer who
// waits just looks at the count once more.
// Fairness: writers have priority in effect, for a reader needs the mutex that
// the writer has; readers who come while a writer still waits for the gate do
// get in.
// Misuse isn't noticed. Process end: the last thread gets through; a writer
// that waits for readers who are gone sets their count to zero.
// Memory order: as VelFastMutex. Last error is kept.
class VEL_CAPABILITY("shared_mutex") VelRWLock : private VelFastMutex {
 public:
  constexpr VelRWLock() noexcept = default;
  // Closes both events; nobody may hold or want the lock.
  ~VelRWLock() { close_event(_gate); }

  void read_lock() noexcept VEL_ACQUIRE_SHARED() VEL_NO_THREAD_ANALYSIS {
    lock();
    ++_readers;
    unlock();
  }

  void read_unlock() noexcept VEL_RELEASE_SHARED() VEL_NO_THREAD_ANALYSIS {
    lock();
    if (--_readers == 0 && _writers != 0) open_gate();
    unlock();
  }

  void write_lock() noexcept VEL_ACQUIRE() VEL_NO_THREAD_ANALYSIS {
    lock();
    ++_writers;
    if (_readers != 0) wait_for_readers();
  }

  void write_unlock() noexcept VEL_RELEASE() VEL_NO_THREAD_ANALYSIS {
    if (--_writers != 0) open_gate();
    unlock();
  }

  using ReadScope = SharedLockScope<VelRWLock, &VelRWLock::read_lock,
                                    &VelRWLock::read_unlock>;
  using WriteScope =
      LockScope<VelRWLock, &VelRWLock::write_lock, &VelRWLock::write_unlock>;

 private:
  friend class VelRWLockPeer;

  void open_gate() noexcept;
  void wait_for_readers() noexcept VEL_NO_THREAD_ANALYSIS;

  std::int32_t _readers = 0;
  std::int32_t _writers = 0;
  std::atomic<HANDLE> _gate{nullptr};
};

}  // namespace vel

#endif  // VEL_SYNC_VELRWLOCK_H_
