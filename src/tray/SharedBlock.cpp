#include "tray/SharedBlock.h"

#include "vel/GuiIpc.h"

namespace vel {

// The thread's id in the tag keeps calls apart that run at the same time.
SharedBlock::SharedBlock(DWORD size) {
  wchar_t tag[32];
  wsprintfW(tag, L"%x.%x", GetCurrentProcessId(), GetCurrentThreadId());
  wsprintfW(_text, L"/%s=\"%s\" /%s=\"%u\"", VEL_GUI_IPC_MAPPING_KEY, tag,
            VEL_GUI_IPC_LENGTH_KEY, static_cast<UINT>(size));
  wchar_t name[96];
  wsprintfW(name, L"%s%s", VEL_GUI_IPC_MAPPING_PREFIX, tag);
  _mapping.reset(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                    SEC_COMMIT | PAGE_READWRITE, 0, size,
                                    name));
  if (!_mapping) return;
  _view = MapViewOfFile(_mapping.get(), FILE_MAP_WRITE, 0, 0, size);
}

SharedBlock::~SharedBlock() {
  if (_view != nullptr) UnmapViewOfFile(_view);
}

}  // namespace vel
