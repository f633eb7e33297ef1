#include "sync/VelFastMutex.h"

#include "sync/Trap.h"

namespace vel {

VelFastMutex::~VelFastMutex() {
  close_event(_event);
}

void VelFastMutex::lock_after_yield() noexcept {
  // A short holder is done by then, and the kernel wait is saved.
  nt::ZwYieldExecution();
  if (_count.fetch_add(1, std::memory_order_acquire) != 0) wait_for_turn();
}

void VelFastMutex::wait_for_turn() noexcept {
  // Whatever comes of the wait, the lock counts as taken: after
  // kWaitTerminating the holder is gone, and after a failure, which is in the
  // log, there is nothing else to wait for.
  static_cast<void>(WaitExclusive(need_event(_event, false)));
}

void VelFastMutex::wake_next() noexcept {
  set_event(_event, false);
}

HANDLE VelFastMutex::need_event(std::atomic<HANDLE>& field,
                                bool signalled) noexcept {
  HANDLE event = field.load(std::memory_order_acquire);
  if (event != nullptr) return event;

  HANDLE made = nullptr;
  const NTSTATUS status =
      nt::ZwCreateEvent(&made, EVENT_ALL_ACCESS, nullptr,
                        nt::EventType::kSynchronization, signalled);
  if (!nt::succeeded(status)) vel_trap();
  if (field.compare_exchange_strong(event, made, std::memory_order_acq_rel)) {
    return made;
  }
  // Another thread got in first: its event is the one.
  if (!nt::succeeded(nt::ZwClose(made))) vel_trap();
  return event;
}

void VelFastMutex::set_event(std::atomic<HANDLE>& field,
                             bool signalled) noexcept {
  const NTSTATUS status = nt::ZwSetEvent(need_event(field, signalled), nullptr);
  if (!nt::succeeded(status)) vel_trap();
}

void VelFastMutex::close_event(std::atomic<HANDLE>& field) noexcept {
  const HANDLE event = field.exchange(nullptr, std::memory_order_acq_rel);
  if (event != nullptr && !nt::succeeded(nt::ZwClose(event))) vel_trap();
}

}  // namespace vel
