#include "tray/GuiIpc.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "sync/ScopedHandle.h"

namespace vel {
namespace {

constexpr std::size_t kMaxBlock = 0x7FFFFFFF;
constexpr std::size_t kTagSize = 32;
constexpr std::size_t kTextSize = 96;

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};
using CopyDataBlock = std::unique_ptr<unsigned char, FreeMemory>;

HWND find_tray_window() {
  return FindWindowW(VEL_TRAY_WINDOW_CLASS, L"");
}

// The tray may take the foreground for what it is about to open.
void allow_foreground(HWND window) {
  DWORD process_id = 0;
  GetWindowThreadProcessId(window, &process_id);
  if (process_id != 0) AllowSetForegroundWindow(process_id);
}

// The last two bytes have no meaning and stay unset.
CopyDataBlock make_block(std::uint32_t command, const wchar_t* text,
                         std::size_t text_bytes) {
  CopyDataBlock block(static_cast<unsigned char*>(
      std::malloc(VEL_GUI_IPC_MIN_COPYDATA + text_bytes)));
  if (!block) return block;
  std::memcpy(block.get(), &command, sizeof(command));
  if (text_bytes != 0) {
    std::memcpy(block.get() + sizeof(command), text, text_bytes);
  }
  return block;
}

// A page-file mapping under a name, with a view of all of it.
class SharedBlock {
 public:
  SharedBlock(const wchar_t* name, DWORD size)
      : _mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr,
                                    SEC_COMMIT | PAGE_READWRITE, 0, size,
                                    name)) {
    if (!_mapping) return;
    _view = MapViewOfFile(_mapping.get(), FILE_MAP_WRITE, 0, 0, size);
  }
  ~SharedBlock() {
    if (_view != nullptr) UnmapViewOfFile(_view);
  }
  SharedBlock(const SharedBlock&) = delete;
  SharedBlock& operator=(const SharedBlock&) = delete;

  void* view() const { return _view; }

 private:
  const ScopedHandle _mapping;
  void* _view = nullptr;
};

}  // namespace

bool send_gui_ipc(std::uint32_t command, const wchar_t* text) {
  const HWND window = find_tray_window();
  if (window == nullptr) return false;
  allow_foreground(window);

  const std::size_t text_bytes =
      text != nullptr ? std::wcslen(text) * sizeof(wchar_t) : 0;
  const CopyDataBlock block = make_block(command, text, text_bytes);
  if (!block) return false;
  COPYDATASTRUCT data{};
  data.cbData = static_cast<DWORD>(VEL_GUI_IPC_MIN_COPYDATA + text_bytes);
  data.lpData = block.get();
  return SendMessageW(window, WM_COPYDATA, 0,
                      reinterpret_cast<LPARAM>(&data)) != 0;
}

bool send_gui_ipc_mapped(std::uint32_t command, void* buffer,
                         std::size_t size) {
  if (size == 0) {
    SetLastError(ERROR_EMPTY);
    return false;
  }
  if (size > kMaxBlock) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
  }
  // The thread's id in the tag keeps calls apart that run at the same time.
  wchar_t tag[kTagSize];
  wsprintfW(tag, L"%x.%x", GetCurrentProcessId(), GetCurrentThreadId());
  wchar_t name[kTextSize];
  wsprintfW(name, L"%s%s", VEL_GUI_IPC_MAPPING_PREFIX, tag);

  SetLastError(0);
  const SharedBlock shared(name, static_cast<DWORD>(size));
  if (shared.view() == nullptr) return false;
  std::memcpy(shared.view(), buffer, size);
  wchar_t text[kTextSize];
  wsprintfW(text, L"/%s=\"%s\" /%s=\"%u\"", VEL_GUI_IPC_MAPPING_KEY, tag,
            VEL_GUI_IPC_LENGTH_KEY, static_cast<UINT>(size));
  if (!send_gui_ipc(command, text)) return false;
  std::memcpy(buffer, shared.view(), size);
  return true;
}

bool is_tray_running() {
  return find_tray_window() != nullptr;
}

}  // namespace vel
