#include "tray/GuiIpcBlock.h"

#include <windows.h>

#include <cstdlib>

#include "foundation/CommandLine.h"
#include "vel/GuiIpc.h"

namespace vel {
namespace {

// 0 for a size that isn't allowed.
std::uint32_t block_size(const std::wstring& text) {
  const int size = _wtoi(get_param(text, VEL_GUI_IPC_LENGTH_KEY).c_str());
  const auto bytes = static_cast<std::uint32_t>(size);
  return bytes <= VEL_GUI_IPC_MAX_BLOCK ? bytes : 0;
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
  if (_view != nullptr) _size = size;
}

GuiIpcBlock::~GuiIpcBlock() {
  if (_view != nullptr) UnmapViewOfFile(_view);
}

}  // namespace vel
