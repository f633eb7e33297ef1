#ifndef VEL_LOG_LOGLOCK_H_
#define VEL_LOG_LOGLOCK_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "sync/CurrentThread.h"
#include "sync/LockScope.h"
#include "sync/ThreadAnnotations.h"

namespace vel {

// Puts `mark` into `word` as soon as that is 0; gives up on the last thread of
// an ending process.
void wait_for_word(std::atomic<std::uint32_t>& word,
                   std::uint32_t mark) noexcept;
// The same for at most `milliseconds`: false when `mark` isn't in. False at
// once when it was in before, and on the last thread of an ending process.
[[nodiscard]] bool try_word(std::atomic<std::uint32_t>& word,
                            std::uint32_t mark, DWORD milliseconds) noexcept;

// The kind of the log's two locks, the innermost of the process. A bare word;
// `Mark` gives what its owner puts in.
//
//   word | meaning | lock()                  | unlock()
//   0    | free    | own mark                | stays 0
//   mark | owned   | yields until it is free | 0
//
// No sleep, no count, no test for a dead owner, no fairness. Not recursive:
// nothing under it may log. Process end: the last thread goes on without the
// lock, at the price of an unlocked write at the very end; that beats a hang on
// a holder that the system has removed.
template <std::uint32_t (*Mark)() noexcept>
class VEL_CAPABILITY("mutex") YieldLock {
 public:
  constexpr YieldLock() noexcept = default;
  YieldLock(const YieldLock&) = delete;
  YieldLock& operator=(const YieldLock&) = delete;

  void lock() noexcept VEL_ACQUIRE() {
    std::uint32_t seen = 0;
    if (!_word.compare_exchange_strong(seen, Mark())) {
      wait_for_word(_word, Mark());
    }
  }
  // For a thread that may have the lock already: false, too, in that case.
  [[nodiscard]] bool try_lock_for(DWORD milliseconds) noexcept
      VEL_TRY_ACQUIRE(true) {
    return try_word(_word, Mark(), milliseconds);
  }
  void unlock() noexcept VEL_RELEASE() { _word.exchange(0); }

  using Scope = LockScope<YieldLock, &YieldLock::lock, &YieldLock::unlock>;

 private:
  std::atomic<std::uint32_t> _word{0};
};

[[nodiscard]] constexpr std::uint32_t cipher_mark() noexcept {
  return 1;
}

// Around the log's buffer and file.
using LogLock = YieldLock<current_thread_id>;
// Around the log's cipher, below LogLock.
using CipherLock = YieldLock<cipher_mark>;

}  // namespace vel

#endif  // VEL_LOG_LOGLOCK_H_
