#include "sync/VelMultiReadSpinLock.h"

#include "log/VelLog.h"
#include "sync/CurrentThread.h"
#include "sync/LastErrorKeeper.h"
#include "sync/ThreadProbe.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr DWORD kCheckInterval = 1024;      // ms
constexpr DWORD kForceOpenAfter = 0x40000;  // ms
constexpr std::uint32_t kShortSleepPasses = 0x10000;
constexpr std::uint32_t kMediumSleepPasses = 0x100000;

DWORD pause_of(std::uint32_t pass) {
  if (pass < kShortSleepPasses) return 0;
  return pass < kMediumSleepPasses ? 1 : 10;
}

}  // namespace

void VelMultiReadSpinLock::ReadLock() {
  const LastErrorKeeper keeper;
  InternalLock(true);
  if (_ctx->readers.fetch_add(1) + 1 < 1) vel_trap_in_lock();
  InternalUnlock();
}

void VelMultiReadSpinLock::ReadUnlock() {
  const LastErrorKeeper keeper;
  if (_ctx->readers.fetch_sub(1) - 1 < 0) vel_trap();
}

void VelMultiReadSpinLock::WriteLock() {
  const LastErrorKeeper keeper;
  InternalLock(false);
}

void VelMultiReadSpinLock::WriteUnlock() {
  const LastErrorKeeper keeper;
  InternalUnlock();
}

bool VelMultiReadSpinLock::ValidateLocker() {
  const std::uint32_t locker = _ctx->locker.load();
  if (locker == 0) return true;
  const ThreadProbe probe = probe_thread(locker);
  if (probe.alive()) return true;
  VelLog_Print(kLogWarning,
               L"VelMultiReadSpinLock::ValidateLocker - tid=0x%x le=%u", locker,
               probe.error);
  return false;
}

void VelMultiReadSpinLock::InternalLock(bool read_mode) {
  // Sums of ticks wrap with the tick itself, and aren't guarded against it.
  const DWORD start = _tick_count();
  DWORD next_check = start + kCheckInterval;
  for (std::uint32_t pass = 0;; ++pass) {
    if (take_locker() && (read_mode || _ctx->readers.load() == 0)) return;
    Sleep(pause_of(pass));
    const DWORD now = _tick_count();
    if (now <= next_check) continue;
    if (now > start + kForceOpenAfter) {
      force_open();
    } else if (!ValidateLocker()) {
      _ctx->locker.exchange(0);
    }
    next_check = now + kCheckInterval;
  }
}

void VelMultiReadSpinLock::InternalUnlock() {
  if (_ctx->locker.exchange(0) != current_thread_id()) vel_trap();
}

bool VelMultiReadSpinLock::take_locker() {
  std::uint32_t seen = 0;
  return _ctx->locker.compare_exchange_strong(seen, current_thread_id());
}

void VelMultiReadSpinLock::force_open() {
  VelLog_Print(kLogError, L"VelMultiReadSpinLock::InternalLock - timeout");
  _ctx->locker.exchange(0);
  _ctx->readers.exchange(0);
}

}  // namespace vel
