#ifndef VEL_SYNC_VELMULTIREADSPINLOCK_H_
#define VEL_SYNC_VELMULTIREADSPINLOCK_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "sync/LockScope.h"
#include "sync/ThreadAnnotations.h"

namespace vel {

// Many readers or one writer in two words that belong to the caller.
//
// Not for writers that come while readers are at work for long: a writer that
// finds readers looks no second time; it sits out 262144 ms and then forces the
// lock open. That is meant so: a writer comes only when the readers are about
// to be gone, or dead. Not for recursion of any kind.
//
//   state             | readers | locker
//   free              | 0       | 0
//   read-held         | n > 0   | 0
//   internally locked | any     | the thread that is at the counters
//   write-held        | 0       | the writer
//   writer waits      | n > 0   | the writer, so no new reader gets in
//
// Invariants: both words change only by full-barrier atomics. A locker found
// dead, at the first look after 1024 ms, is forgotten.
// Fairness: none. Misuse: an unlock by a thread that isn't the locker, and a
// count of readers out of range, are traps. Process end: no special test.
// The four public operations of readers and writers keep the last error.
class VEL_CAPABILITY("shared_mutex") VelMultiReadSpinLock {
 public:
  struct Context {
    std::atomic<std::int32_t> readers{0};
    std::atomic<std::uint32_t> locker{0};
  };
  static_assert(sizeof(Context) == 8);

  // Milliseconds since some start, as GetTickCount counts them.
  using TickSource = DWORD(WINAPI*)();

  // `ctx` stays the caller's, zeroed before its first use, and outlives this.
  explicit VelMultiReadSpinLock(Context* ctx,
                                TickSource tick_count = GetTickCount) noexcept
      : _ctx(ctx), _tick_count(tick_count) {}

  void ReadLock() VEL_ACQUIRE_SHARED();
  void ReadUnlock() VEL_RELEASE_SHARED();
  void WriteLock() VEL_ACQUIRE();
  void WriteUnlock() VEL_RELEASE();

  // False, with a line in the log, when the locker is a thread that is gone.
  [[nodiscard]] bool ValidateLocker();
  // The short lock over the counters; with `read_mode` false the caller also
  // waits for the readers, and is the writer until InternalUnlock().
  void InternalLock(bool read_mode);
  void InternalUnlock();

  using ReadScope =
      SharedLockScope<VelMultiReadSpinLock, &VelMultiReadSpinLock::ReadLock,
                      &VelMultiReadSpinLock::ReadUnlock>;
  using WriteScope =
      LockScope<VelMultiReadSpinLock, &VelMultiReadSpinLock::WriteLock,
                &VelMultiReadSpinLock::WriteUnlock>;

 private:
  [[nodiscard]] bool take_locker();
  // Forgets whoever holds the lock, in either mode.
  void force_open();

  Context* _ctx;
  TickSource _tick_count;
};

}  // namespace vel

#endif  // VEL_SYNC_VELMULTIREADSPINLOCK_H_
