#include "channels/ActiveTaskCounter.h"

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
    WaitForSingleObject(_idle_event, INFINITE);
  }
  nt::ZwClose(_idle_event);
}

// The Leave() that has brought the count to 0 may not have signalled yet, and
// would do so while this task is in. Its signal is waited for, so that the
// event always tells the count.
void ActiveTaskCounter::Enter() {
  if (_count.fetch_add(1) != 0) return;
  static_cast<void>(WaitExclusive(_idle_event));
  nt::ZwResetEvent(_idle_event, nullptr);
}

void ActiveTaskCounter::Leave() {
  if (_count.fetch_sub(1) == 1) nt::ZwSetEvent(_idle_event, nullptr);
}

bool ActiveTaskCounter::Wait(DWORD timeout_ms) {
  if (timeout_ms == 0) return _count == 0;
  return WaitForSingleObject(_idle_event, timeout_ms) != WAIT_TIMEOUT;
}

}  // namespace vel
