#include "sync/VelSyncNt.h"

#include "log/VelLog.h"
#include "sync/CurrentThread.h"
#include "sync/NtApi.h"

namespace vel {

constinit bool multi_cpu = false;

namespace {

constexpr LONGLONG kMillisecond = -10'000;
// How often a waiter looks whether the process is ending.
constexpr LARGE_INTEGER kWaitSlice = {.QuadPart = 1000 * kMillisecond};
constexpr LARGE_INTEGER kLastWaitSlice = {.QuadPart = 100 * kMillisecond};

// Before the constructors of static objects, which may use locks.
__attribute__((constructor(101))) void find_multi_cpu() {
  DWORD_PTR process_mask = 0;
  DWORD_PTR system_mask = 0;
  multi_cpu = GetProcessAffinityMask(GetCurrentProcess(), &process_mask,
                                     &system_mask) != 0 &&
              process_mask >= 2;
}

// The messages show handles in 32 bits, all that a handle uses.
unsigned shown(HANDLE handle) {
  return static_cast<unsigned>(reinterpret_cast<UINT_PTR>(handle));
}

}  // namespace

WaitResult WaitExclusive(HANDLE handle) noexcept {
  for (;;) {
    if (!ThreadIsTerminating()) {
      const NTSTATUS status =
          nt::ZwWaitForSingleObject(handle, FALSE, &kWaitSlice);
      if (status == nt::kStatusTimeout) continue;
      if (status == nt::kStatusSuccess) return kWaitSignalled;
      VelLog_Print(kLogError, L"WaitExclusive(0x%x)- 0x%x", shown(handle),
                   static_cast<unsigned>(status));
      return kWaitFailed;
    }
    const NTSTATUS status =
        nt::ZwWaitForSingleObject(handle, FALSE, &kLastWaitSlice);
    if (status == nt::kStatusSuccess) return kWaitSignalled;
    if (ThreadIsTerminating()) {
      VelLog_Print(kLogWarning, L"WaitExclusive(0x%x) - 0x%x [I'm last thread]",
                   shown(handle), static_cast<unsigned>(status));
      return kWaitTerminating;
    }
  }
}

}  // namespace vel
