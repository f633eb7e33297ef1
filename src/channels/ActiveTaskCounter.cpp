#include "channels/ActiveTaskCounter.h"

#include "sync/CurrentThread.h"
#include "sync/NtApi.h"
#include "sync/Trap.h"
#include "sync/VelSyncNt.h"

namespace vel {

ActiveTaskCounter::ActiveTaskCounter() {
  const NTSTATUS status =
      nt::ZwCreateEvent(&_idle_event, EVENT_ALL_ACCESS, nullptr,
                        nt::EventType::kNotification, TRUE);
  if (!nt::succeeded(status)) vel_trap();
}

ActiveTaskCounter::~ActiveTaskCounter() {
  if (!ThreadIsTerminating()) {
    static_cast<void>(Wait(INFINITE));
    // The last Leave() may still be on its way to signal.
    WaitForSingleObject(_idle_event, INFINITE);
  }
  nt::ZwClose(_idle_event);
}

// The Leave() that has brought the count to 0 may not have signalled yet, and
// would do so while this task is in. Its signal is waited for, so that signals
// and resets come in turns.
void ActiveTaskCounter::Enter() {
  if (_count.fetch_add(1) != 0) return;
  static_cast<void>(WaitExclusive(_idle_event));
  nt::ZwResetEvent(_idle_event, nullptr);
}

void ActiveTaskCounter::Leave() {
  if (_count.fetch_sub(1) == 1) nt::ZwSetEvent(_idle_event, nullptr);
}

// The event is still signalled for the moment in which the first task enters,
// so the count has the last word.
bool ActiveTaskCounter::Wait(DWORD timeout_ms) {
  if (timeout_ms == 0) return _count == 0;
  const DWORD start = GetTickCount();
  for (DWORD left = timeout_ms;;) {
    if (WaitForSingleObject(_idle_event, left) == WAIT_TIMEOUT) return false;
    if (_count == 0) return true;
    nt::ZwYieldExecution();
    if (timeout_ms == INFINITE) continue;
    const DWORD passed = GetTickCount() - start;
    left = passed < timeout_ms ? timeout_ms - passed : 0;
  }
}

}  // namespace vel
