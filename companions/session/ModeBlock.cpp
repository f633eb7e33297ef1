#include "session/ModeBlock.h"

#include <windows.h>
#include <sddl.h>

#include <cstdint>
#include <cstring>
#include <cwchar>

namespace velul {
namespace {

struct BlockHeader {
  std::uint32_t length;  // of the data, in bytes
  std::uint32_t reserved[7];
};

constexpr wchar_t kLowLabel[] = L"S:(ML;;NW;;;LW)";

// Null, with the last error, on failure; ERROR_ALREADY_EXISTS tells of a block
// that was there.
HANDLE create_block(DWORD size) {
  SECURITY_ATTRIBUTES security = {sizeof security, nullptr, FALSE};
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(
          kLowLabel, SDDL_REVISION_1, &security.lpSecurityDescriptor,
          nullptr)) {
    return nullptr;
  }
  wchar_t name[32];
  _snwprintf(name, 32, L"VELUL_MIN:%x", GetCurrentProcessId());
  SetLastError(ERROR_SUCCESS);
  const HANDLE block = CreateFileMappingW(INVALID_HANDLE_VALUE, &security,
                                          PAGE_READWRITE, 0, size, name);
  const DWORD error = GetLastError();
  LocalFree(security.lpSecurityDescriptor);
  SetLastError(error);
  return block;
}

bool fill_block(HANDLE block, const wchar_t* mode, std::uint32_t length) {
  auto* const header =
      static_cast<BlockHeader*>(MapViewOfFile(block, FILE_MAP_WRITE, 0, 0, 0));
  if (header == nullptr) return false;
  std::memcpy(header + 1, mode, length);
  header->length = length;
  UnmapViewOfFile(header);
  return true;
}

}  // namespace

bool publish_mode(const wchar_t* mode) {
  const auto length =
      static_cast<std::uint32_t>((wcslen(mode) + 1) * sizeof(wchar_t));
  const HANDLE block = create_block(sizeof(BlockHeader) + length);
  if (block == nullptr) return false;
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    CloseHandle(block);
    return true;
  }
  if (!fill_block(block, mode, length)) {
    const DWORD error = GetLastError();
    CloseHandle(block);
    SetLastError(error);
    return false;
  }
  // The handle is left open: the block is to live as long as the process.
  return true;
}

}  // namespace velul
