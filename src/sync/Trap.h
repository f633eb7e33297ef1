#ifndef VEL_SYNC_TRAP_H_
#define VEL_SYNC_TRAP_H_

#include <windows.h>

#include "log/LogFlush.h"

namespace vel {

// The trap of code that has a word lock (VelSpinLock and its kin, a once-guard,
// a lock of the log) or that the log is built on: it stops the process and does
// nothing else.
[[noreturn]] __attribute__((always_inline)) inline void vel_trap_in_lock() {
  __debugbreak();
  // A debugger may step over the breakpoint: the fault stays a fault.
  for (;;) TerminateProcess(GetCurrentProcess(), 0x80000003);
}

// Stops the process at a fault of the program's own logic: a breakpoint
// exception, which a debugger catches and which ends the process otherwise.
// Never a way to report a condition that can happen in a correct program. What
// the log has collected goes to its file first.
[[noreturn]] __attribute__((always_inline)) inline void vel_trap() {
  VelLog_TryFlushBuffer();
  vel_trap_in_lock();
}

}  // namespace vel

#endif  // VEL_SYNC_TRAP_H_
