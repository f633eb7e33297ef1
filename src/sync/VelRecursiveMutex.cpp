#include "sync/VelRecursiveMutex.h"

#include "sync/Trap.h"

namespace vel {

void VelRecursiveMutex::wait_to_enter() noexcept {
  VelFastMutex::lock();
  ++_recursion;
  become_owner();
}

bool VelRecursiveMutex::try_enter() noexcept {
  if (is_mine()) {
    if (_recursion < 1) vel_trap();
    ++_recursion;
    return true;
  }
  if (!take_free()) return false;
  become_owner();
  if (_recursion != 0) vel_trap();
  _recursion = 1;
  return true;
}

}  // namespace vel
