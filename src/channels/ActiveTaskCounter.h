#ifndef VEL_CHANNELS_ACTIVETASKCOUNTER_H_
#define VEL_CHANNELS_ACTIVETASKCOUNTER_H_

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace vel {

// Counts tasks in progress and can be waited on. Any thread may call any
// operation; the object outlives the tasks that it counts.
class ActiveTaskCounter {
 public:
  // The count is 0. An event that can't be made is a trap.
  ActiveTaskCounter();
  // Waits without a limit until the count is 0, except on the last thread of
  // an ending process.
  virtual ~ActiveTaskCounter();
  ActiveTaskCounter(const ActiveTaskCounter&) = delete;
  ActiveTaskCounter& operator=(const ActiveTaskCounter&) = delete;

  void Enter();
  // Pairs with one Enter(). The call that brings the count to 0 may be the last
  // one that finds the object alive.
  void Leave();
  // True when the count is 0 now or comes to 0 within the time, INFINITE for no
  // limit. With 0 it only looks and makes no system call.
  [[nodiscard]] bool Wait(DWORD timeout_ms);

 private:
  // Manual-reset, signalled while the count is 0.
  HANDLE _idle_event = nullptr;
  std::atomic<std::int32_t> _count{0};
};

}  // namespace vel

#endif  // VEL_CHANNELS_ACTIVETASKCOUNTER_H_
