#include "sync/VelRecursiveMutex.h"

#include "sync/Trap.h"

namespace vel {

bool VelRecursiveMutex::is_mine() noexcept {
  const std::uint32_t me = current_thread_id();
  std::uint32_t seen = me;
  return _owner.compare_exchange_strong(seen, me);
}

void VelRecursiveMutex::enter_again_or_wait() noexcept {
  if (is_mine()) {
    ++_recursion;
    return;
  }
  VelFastMutex::lock();
  ++_recursion;
  _owner.store(current_thread_id(), std::memory_order_relaxed);
}

bool VelRecursiveMutex::try_enter() noexcept {
  if (is_mine()) {
    if (_recursion < 1) vel_trap();
    ++_recursion;
    return true;
  }
  if (!take_free()) return false;
  _owner.store(current_thread_id(), std::memory_order_relaxed);
  if (_recursion != 0) vel_trap();
  _recursion = 1;
  return true;
}

}  // namespace vel
