// Owners of what the security calls hand back for LocalFree.
#ifndef VEL_SECURITY_LOCALMEMORY_H_
#define VEL_SECURITY_LOCALMEMORY_H_

#include <windows.h>

#include "sync/ScopedHandle.h"

namespace vel {

template <typename Pointer>
struct LocalMemoryTraits {
  using Handle = Pointer;
  static Pointer invalid() noexcept { return nullptr; }
  static bool close(Pointer memory) noexcept {
    return LocalFree(memory) == nullptr;
  }
};

using ScopedDescriptor =
    BasicScopedHandle<LocalMemoryTraits<PSECURITY_DESCRIPTOR>>;
using ScopedSidText = BasicScopedHandle<LocalMemoryTraits<wchar_t*>>;

}  // namespace vel

#endif  // VEL_SECURITY_LOCALMEMORY_H_
