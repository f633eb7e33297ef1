#ifndef VEL_SYNC_ONCEGUARD_H_
#define VEL_SYNC_ONCEGUARD_H_

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>

#include "sync/LastErrorKeeper.h"

namespace vel {

// Runs a piece of work once in the process, without a lock of the runtime, and
// with the thread's last-error value kept. Zero-initialised: make it `static
// constinit`.
//
// Not for work that comes back to the same guard (it would wait for itself).
//
//   word | meaning             | next
//   0    | not run yet         | 2 by the thread that gets in first
//   2    | a thread works      | 1 when done, 0 when the work threw
//   1    | done, for good      |
//
// Others wait in Sleep(0) until the worker is through; there is no fairness. A
// worker that dies leaves the word at 2, and those who come wait for ever: the
// word names no owner, and work that is half done can't be taken over.
class OnceGuard {
 public:
  constexpr OnceGuard() noexcept = default;
  OnceGuard(const OnceGuard&) = delete;
  OnceGuard& operator=(const OnceGuard&) = delete;

  // After the return the work of this or another call is done, and visible.
  // An exception of `work` goes to its caller, and a later call runs it anew.
  template <typename Work>
  void run(Work&& work) {
    if (_word.load(std::memory_order_acquire) == kDone) return;
    if (!begin()) return;
    Turn turn(*this);
    work();
    turn.done = true;
  }

 private:
  enum State : std::uint32_t { kNew = 0, kDone = 1, kWorking = 2 };

  // The worker's turn: ends it on every way out.
  struct [[nodiscard]] Turn {
    [[nodiscard]] explicit Turn(OnceGuard& owner) noexcept : guard(owner) {}
    ~Turn() {
      guard._word.store(done ? kDone : kNew, std::memory_order_release);
    }
    OnceGuard& guard;
    bool done = false;
    LastErrorKeeper keeper;
  };

  // True when the caller has become the worker.
  bool begin() noexcept {
    for (;;) {
      std::uint32_t seen = kNew;
      if (_word.compare_exchange_strong(seen, kWorking,
                                        std::memory_order_acquire)) {
        return true;
      }
      if (seen == kDone) return false;
      Sleep(0);
    }
  }

  std::atomic<std::uint32_t> _word{kNew};
};

// The one object that belongs to the place of this call: made by `make` on the
// first pass through it, behind a guard of its own, and destroyed by the exit
// handlers, in the reverse order of construction.
//   VelProfileHolder& holder = once_static([] { return VelProfileHolder("x");
//   });
// In place of a function-local static, whose guard takes a lock of the runtime.
template <typename Make>
auto& once_static(Make make) {
  using T = std::invoke_result_t<Make>;
  static constinit OnceGuard guard;
  alignas(T) static constinit std::byte storage[sizeof(T)] = {};
  guard.run([&make] {
    ::new (static_cast<void*>(storage)) T(make());
    std::atexit([] { std::launder(reinterpret_cast<T*>(storage))->~T(); });
  });
  return *std::launder(reinterpret_cast<T*>(storage));
}

}  // namespace vel

#endif  // VEL_SYNC_ONCEGUARD_H_
