#ifndef VEL_SYNC_LOCKSCOPE_H_
#define VEL_SYNC_LOCKSCOPE_H_

#include "sync/ThreadAnnotations.h"

namespace vel {

// Holds a lock from its construction to its end, also when an exception passes.
// `Take` and `GiveUp` are the lock's own operations; each lock names its scope
// classes itself. The lock outlives the scope.
template <typename Lock, void (Lock::*Take)(), void (Lock::*GiveUp)()>
class [[nodiscard]] VEL_SCOPED_CAPABILITY LockScope {
 public:
  [[nodiscard]] explicit LockScope(Lock& lock)
      VEL_ACQUIRE(lock) VEL_NO_THREAD_ANALYSIS : _lock(lock) {
    (_lock.*Take)();
  }
  ~LockScope() VEL_RELEASE() VEL_NO_THREAD_ANALYSIS { (_lock.*GiveUp)(); }
  LockScope(const LockScope&) = delete;
  LockScope& operator=(const LockScope&) = delete;

 private:
  Lock& _lock;
};

// The same for the mode in which several threads have the lock.
template <typename Lock, void (Lock::*Take)(), void (Lock::*GiveUp)()>
class [[nodiscard]] VEL_SCOPED_CAPABILITY SharedLockScope {
 public:
  [[nodiscard]] explicit SharedLockScope(Lock& lock)
      VEL_ACQUIRE_SHARED(lock) VEL_NO_THREAD_ANALYSIS : _lock(lock) {
    (_lock.*Take)();
  }
  ~SharedLockScope() VEL_RELEASE_GENERIC() VEL_NO_THREAD_ANALYSIS {
    (_lock.*GiveUp)();
  }
  SharedLockScope(const SharedLockScope&) = delete;
  SharedLockScope& operator=(const SharedLockScope&) = delete;

 private:
  Lock& _lock;
};

}  // namespace vel

#endif  // VEL_SYNC_LOCKSCOPE_H_
