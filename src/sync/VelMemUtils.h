// Bytes on their way to another process or module: through a named mapping, or
// through a global handle as the clipboard has them. No state, any thread.
// Failures of the system's calls are logged at level 3 unless told otherwise.
#ifndef VEL_SYNC_VELMEMUTILS_H_
#define VEL_SYNC_VELMEMUTILS_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vel {

// What a named block begins with; the data follows.
struct VelMemoryBlockHeader {
  std::uint32_t length;  // of the data, in bytes
  std::uint32_t reserved[7];
};
static_assert(sizeof(VelMemoryBlockHeader) == 32);
// The length of a block stays below this.
inline constexpr std::uint32_t kMemoryBlockLimit = 0x7FFFFFDF;

// Makes the mapping `name` with the data in it, for readers until the last
// handle is closed. The caller closes the handle. Null on failure; a length at
// the limit or above is a trap.
HANDLE write_memory_block(const void* data, std::size_t length,
                          const wchar_t* name);
HANDLE write_memory_block(const std::vector<BYTE>& data, const wchar_t* name);

// False when there is no such block, which isn't logged, or it can't be read: a
// block that is shorter than it says gives the last error
// STATUS_ACCESS_VIOLATION.
bool read_memory_block(std::vector<BYTE>& data, const wchar_t* name);
// `mapping` stays the caller's and allows reading.
bool read_memory_block(std::vector<BYTE>& data, HANDLE mapping);

// The next two are for the system's other programs.

// The whole of a global handle, which stays the caller's. GlobalSize may be
// more than was asked for when it was made.
bool read_global_memory(std::vector<BYTE>& data, HGLOBAL memory);
// `flags` as for GlobalAlloc. The caller frees the handle; null on failure, of
// which nothing is logged.
HGLOBAL write_global_memory(const std::vector<BYTE>& data, UINT flags);

}  // namespace vel

#endif  // VEL_SYNC_VELMEMUTILS_H_
