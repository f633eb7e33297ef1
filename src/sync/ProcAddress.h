#ifndef VEL_SYNC_PROCADDRESS_H_
#define VEL_SYNC_PROCADDRESS_H_

#include <windows.h>

#include <type_traits>

namespace vel {

// The function that `module` exports as `name`, as a pointer of the function
// pointer type `Fn`. Null, with the last error set, when there is none.
template <typename Fn>
[[nodiscard]] Fn proc_address(HMODULE module, const char* name) noexcept {
  static_assert(std::is_pointer_v<Fn> &&
                std::is_function_v<std::remove_pointer_t<Fn>>);
  return reinterpret_cast<Fn>(
      reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace vel

#endif  // VEL_SYNC_PROCADDRESS_H_
