#ifndef VEL_SYNC_VELRECURSIVERWLOCK_H_
#define VEL_SYNC_VELRECURSIVERWLOCK_H_

#include <windows.h>

#include <cstdint>

#include "sync/LockScope.h"
#include "sync/ThreadAnnotations.h"
#include "sync/VelRWLock.h"

namespace vel {

// A VelRWLock that a thread may take again in either mode, with the thread's
// two depths in a TLS slot of the lock's own.
//
// Not for many objects: each takes one of the process's TLS slots. Not for a
// reader that relies on what it has read once it asks to write: it gives up its
// read lock first, and the data can change before it gets the write lock.
//
//   R, W (depths)  | the thread holds
//   0, 0           | nothing
//   R, 0           | the lock for reading
//   any, W > 0     | the lock for writing; R says what to go back to
//
// Fairness and process end: as VelRWLock. Recursion: 65535 entries per mode.
// Misuse: an unlock without its lock and a depth past the limit are traps, a
// missing TLS slot too. Every operation keeps the last error.
class VEL_CAPABILITY("shared_mutex") VelRecursiveRWLock : private VelRWLock {
 public:
  VelRecursiveRWLock();
  // No thread may hold or want the lock.
  ~VelRecursiveRWLock();

  void read_lock() VEL_ACQUIRE_SHARED() VEL_NO_THREAD_ANALYSIS;
  void read_unlock() VEL_RELEASE_SHARED() VEL_NO_THREAD_ANALYSIS;
  void write_lock() VEL_ACQUIRE() VEL_NO_THREAD_ANALYSIS;
  void write_unlock() VEL_RELEASE() VEL_NO_THREAD_ANALYSIS;

  using ReadScope =
      SharedLockScope<VelRecursiveRWLock, &VelRecursiveRWLock::read_lock,
                      &VelRecursiveRWLock::read_unlock>;
  using WriteScope =
      LockScope<VelRecursiveRWLock, &VelRecursiveRWLock::write_lock,
                &VelRecursiveRWLock::write_unlock>;

 private:
  friend class VelRecursiveRWLockPeer;

  // What the calling thread has: bits 0 to 15 and 16 to 31 of its slot.
  struct Depths {
    std::uint32_t read;
    std::uint32_t write;
  };
  [[nodiscard]] Depths depths() const noexcept;
  void store(Depths depths) noexcept;

  DWORD _tls_index;
};

}  // namespace vel

#endif  // VEL_SYNC_VELRECURSIVERWLOCK_H_
