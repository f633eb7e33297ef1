#ifndef VEL_SYNC_THREADPRIORITY_H_
#define VEL_SYNC_THREADPRIORITY_H_

#include <windows.h>

namespace vel {

// Gives the calling thread another priority over a scope, and the former one
// back, also when an exception passes. A thread whose priority the system
// doesn't tell or change keeps it.
class [[nodiscard]] ThreadPriorityScope {
 public:
  [[nodiscard]] explicit ThreadPriorityScope(int priority) noexcept
      : _former(GetThreadPriority(GetCurrentThread())) {
    SetThreadPriority(GetCurrentThread(), priority);
  }
  ~ThreadPriorityScope() {
    if (_former == THREAD_PRIORITY_ERROR_RETURN) return;
    SetThreadPriority(GetCurrentThread(), _former);
  }
  ThreadPriorityScope(const ThreadPriorityScope&) = delete;
  ThreadPriorityScope& operator=(const ThreadPriorityScope&) = delete;

 private:
  const int _former;
};

}  // namespace vel

#endif  // VEL_SYNC_THREADPRIORITY_H_
