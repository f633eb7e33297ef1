#ifndef VEL_SYNC_RWLOCKSCOPES_H_
#define VEL_SYNC_RWLOCKSCOPES_H_

#include "sync/ThreadAnnotations.h"

namespace vel {

// Hold a reader-writer lock of either kind for the length of a scope.

template <typename Lock>
class VEL_SCOPED_CAPABILITY ReadScopeOf {
 public:
  explicit ReadScopeOf(Lock& lock) noexcept(noexcept(lock.read_lock()))
      VEL_ACQUIRE_SHARED(lock)
      : _lock(lock) {
    _lock.read_lock();
  }
  ~ReadScopeOf() VEL_RELEASE_GENERIC() { _lock.read_unlock(); }
  ReadScopeOf(const ReadScopeOf&) = delete;
  ReadScopeOf& operator=(const ReadScopeOf&) = delete;

 private:
  Lock& _lock;
};

template <typename Lock>
class VEL_SCOPED_CAPABILITY WriteScopeOf {
 public:
  explicit WriteScopeOf(Lock& lock) noexcept(noexcept(lock.write_lock()))
      VEL_ACQUIRE(lock)
      : _lock(lock) {
    _lock.write_lock();
  }
  ~WriteScopeOf() VEL_RELEASE() { _lock.write_unlock(); }
  WriteScopeOf(const WriteScopeOf&) = delete;
  WriteScopeOf& operator=(const WriteScopeOf&) = delete;

 private:
  Lock& _lock;
};

}  // namespace vel

#endif  // VEL_SYNC_RWLOCKSCOPES_H_
