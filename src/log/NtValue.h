#ifndef VEL_LOG_NTVALUE_H_
#define VEL_LOG_NTVALUE_H_

#include <windows.h>
#include <winternl.h>

namespace vel {

// Reads a registry value whose data is exactly `size` bytes long, at most 64,
// of whatever type. The status of the query, or kStatusBufferTooSmall for
// another length; `data` is written on success only. Keeps the last error.
[[nodiscard]] NTSTATUS read_exact_value(HANDLE key, const wchar_t* name,
                                        void* data, ULONG size) noexcept;

}  // namespace vel

#endif  // VEL_LOG_NTVALUE_H_
