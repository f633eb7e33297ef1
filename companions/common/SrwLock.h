// A slim lock with a scope. It has no destructor that does anything, so one
// may stand in a library's data and outlive every order of unloading.
#ifndef VEL_COMPANIONS_COMMON_SRWLOCK_H_
#define VEL_COMPANIONS_COMMON_SRWLOCK_H_

#include <windows.h>

namespace companion {

// Not recursive. Not for code that runs while the process ends.
class SrwLock {
 public:
  class [[nodiscard]] Scope {
   public:
    [[nodiscard]] explicit Scope(SrwLock& lock) : _lock(lock) {
      AcquireSRWLockExclusive(&_lock._word);
    }
    ~Scope() { ReleaseSRWLockExclusive(&_lock._word); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

    // Gives the lock up until `condition` is woken; it may also return without
    // that, so the caller tests in a loop.
    void wait(CONDITION_VARIABLE* condition) {
      SleepConditionVariableSRW(condition, &_lock._word, INFINITE, 0);
    }

   private:
    SrwLock& _lock;
  };

 private:
  SRWLOCK _word = SRWLOCK_INIT;
};

}  // namespace companion

#endif  // VEL_COMPANIONS_COMMON_SRWLOCK_H_
