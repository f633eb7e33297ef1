#ifndef VEL_LOG_LOGLOCK_H_
#define VEL_LOG_LOGLOCK_H_

#include <atomic>
#include <cstdint>

#include "sync/CurrentThread.h"
#include "sync/LockScope.h"
#include "sync/ThreadAnnotations.h"

namespace vel {

// The innermost lock of the process: a bare word, taken around everything that
// touches the log's buffer or file. For the log alone.
//
//   word | meaning         | lock()                  | unlock()
//   0    | free            | own id                  | stays 0
//   id   | owned by thread | yields until it is free | 0
//
// No sleep, no count, no test for a dead owner, no fairness. Not recursive:
// nothing under it may log. Process end: the last thread goes on without the
// lock, at the price of an unlocked write at the very end; that beats a hang on
// a holder that the system has removed.
class VEL_CAPABILITY("mutex") LogLock {
 public:
  constexpr LogLock() noexcept = default;
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;

  void lock() noexcept VEL_ACQUIRE() {
    std::uint32_t seen = 0;
    if (!_word.compare_exchange_strong(seen, current_thread_id())) wait();
  }
  void unlock() noexcept VEL_RELEASE() { _word.exchange(0); }

  using Scope = LockScope<LogLock, &LogLock::lock, &LogLock::unlock>;

 private:
  friend class LogLockPeer;

  void wait() noexcept;

  std::atomic<std::uint32_t> _word{0};
};

}  // namespace vel

#endif  // VEL_LOG_LOGLOCK_H_
