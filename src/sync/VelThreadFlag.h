#ifndef VEL_SYNC_VELTHREADFLAG_H_
#define VEL_SYNC_VELTHREADFLAG_H_

#include <windows.h>

#include <cstdint>

namespace vel {

// One boolean per thread, clear in each thread at first. 64 flags share a slot
// of the system's thread-local storage.
//
// Flags are made and destroyed on any thread, under a lock of the module. The
// three operations are the calling thread's own, take no lock and keep its last
// error. A flag that is destroyed while a thread has it set leaves the bit set
// there: the next flag that gets the bit is set in that thread from the start.
class VelThreadFlag {
 public:
  // Takes the lowest free bit. No slot left is a trap.
  VelThreadFlag();
  ~VelThreadFlag();
  VelThreadFlag(const VelThreadFlag&) = delete;
  VelThreadFlag& operator=(const VelThreadFlag&) = delete;

  [[nodiscard]] bool is_clear() const noexcept;
  // True if the flag wasn't set before.
  bool try_set() noexcept;
  void clear() noexcept;

 private:
  friend class VelThreadFlagPeer;

  DWORD _slot;
  std::uint64_t _mask;
};

}  // namespace vel

#endif  // VEL_SYNC_VELTHREADFLAG_H_
