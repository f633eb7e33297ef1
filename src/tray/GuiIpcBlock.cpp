#include "tray/GuiIpcBlock.h"

#include <windows.h>

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "foundation/CommandLine.h"
#include "vel/GuiIpc.h"

namespace vel {
namespace {

// A page's protection without its modifiers.
constexpr DWORD kPageAccess = 0xFF;

// 0 for a size that isn't allowed.
std::uint32_t block_size(const std::wstring& text) {
  const int size = _wtoi(get_param(text, VEL_GUI_IPC_LENGTH_KEY).c_str());
  const auto bytes = static_cast<std::uint32_t>(size);
  return bytes <= VEL_GUI_IPC_MAX_BLOCK ? bytes : 0;
}

// Whether all pages are there to be read and written. A mapping may reserve
// pages without committing them, or map a program with its protected pages;
// touching one of those would end this process. None can be taken back while
// the view is open.
bool is_usable(const void* view, std::size_t size) {
  const auto* const begin = static_cast<const BYTE*>(view);
  const auto* const end = begin + size;
  for (const BYTE* at = begin; at < end;) {
    MEMORY_BASIC_INFORMATION region = {};
    if (VirtualQuery(at, &region, sizeof(region)) == 0 ||
        region.State != MEM_COMMIT ||
        (region.Protect & kPageAccess) != PAGE_READWRITE) {
      return false;
    }
    at = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize;
  }
  return true;
}

}  // namespace

GuiIpcBlock::GuiIpcBlock(const std::wstring& text, const std::wstring& tag) {
  const std::uint32_t size = block_size(text);
  if (size == 0) {
    SetLastError(ERROR_INVALID_BLOCK_LENGTH);
    return;
  }
  const std::wstring name = VEL_GUI_IPC_MAPPING_PREFIX + tag;
  SetLastError(0);
  _mapping.reset(OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.c_str()));
  if (!_mapping) return;
  // A mapping that is smaller than the size is refused here.
  _view = MapViewOfFile(_mapping.get(), FILE_MAP_WRITE, 0, 0, size);
  if (_view == nullptr) return;
  if (!is_usable(_view, size)) {
    UnmapViewOfFile(std::exchange(_view, nullptr));
    SetLastError(ERROR_NOACCESS);
    return;
  }
  _size = size;
}

GuiIpcBlock::~GuiIpcBlock() {
  if (_view != nullptr) UnmapViewOfFile(_view);
}

}  // namespace vel
