#include "sync/VelRWLock.h"

namespace vel {
namespace {

constexpr bool kGateStartsSignalled = true;

}  // namespace

void VelRWLock::open_gate() noexcept {
  set_event(_gate, kGateStartsSignalled);
}

void VelRWLock::wait_for_readers() noexcept {
  do {
    unlock();
    const WaitResult result =
        WaitExclusive(need_event(_gate, kGateStartsSignalled));
    lock();
    // The last thread of the process: the readers were removed while they read.
    if (result == kWaitTerminating) _readers = 0;
  } while (_readers != 0);
}

}  // namespace vel
