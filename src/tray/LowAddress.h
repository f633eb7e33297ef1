// Memory below 2 GiB, for an object whose address has to survive a signed
// 32-bit cast.
#ifndef VEL_TRAY_LOWADDRESS_H_
#define VEL_TRAY_LOWADDRESS_H_

#include <cstddef>

namespace vel {

// Whole pages of their own, zeroed, 64 KiB of address space at the least: for
// a few objects of a long life only. Throws std::bad_alloc when the lower
// 2 GiB have no room.
void* allocate_low(std::size_t size);

// Takes what allocate_low has given, or null.
void free_low(void* memory) noexcept;

}  // namespace vel

#endif  // VEL_TRAY_LOWADDRESS_H_
