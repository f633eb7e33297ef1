#ifndef VEL_SYNC_VELSYNCNT_H_
#define VEL_SYNC_VELSYNCNT_H_

#include <windows.h>

namespace vel {

// Set before the constructors of static objects run, never changed afterwards:
// the process's affinity mask is 2 or more. The mask's value is what counts,
// not its number of bits.
extern bool multi_cpu;

enum WaitResult : int {
  kWaitSignalled = 0,
  kWaitFailed = -1,       // logged, with the reason
  kWaitTimedOut = -2,     // WaitWithMessages only
  kWaitTerminating = -3,  // WaitExclusive only
};

// Waits for `handle` without a limit, for as long as the process lives. On the
// last thread of an ending process it waits 100 ms and then gives
// kWaitTerminating, for the one who would signal is gone. Not alertable;
// delivers no window messages. May log, so not for use under the log's lock.
[[nodiscard]] WaitResult WaitExclusive(HANDLE handle) noexcept;

// The same for a thread that has windows: dispatches messages meanwhile, so any
// window procedure of it may run inside, and leaves WM_QUIT for the outer loop.
// Unlike WaitExclusive it doesn't look at the process's end.
[[nodiscard]] WaitResult WaitWithMessages(HANDLE handle);

}  // namespace vel

#endif  // VEL_SYNC_VELSYNCNT_H_
