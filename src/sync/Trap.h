#ifndef VEL_SYNC_TRAP_H_
#define VEL_SYNC_TRAP_H_

#include <windows.h>

namespace vel {

// Stops the process at a fault of the program's own logic: a breakpoint
// exception, which a debugger catches and which ends the process otherwise.
// Never a way to report a condition that can happen in a correct program.
[[noreturn]] __attribute__((always_inline)) inline void vel_trap() {
  __debugbreak();
  // A debugger may step over the breakpoint: the fault stays a fault.
  for (;;) TerminateProcess(GetCurrentProcess(), 0x80000003);
}

}  // namespace vel

#endif  // VEL_SYNC_TRAP_H_
