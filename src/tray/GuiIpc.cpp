#include "tray/GuiIpc.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "tray/SharedBlock.h"

namespace vel {
namespace {

constexpr std::size_t kMaxBlock = 0x7FFFFFFF;

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
  SetLastError(0);
  const SharedBlock shared(static_cast<DWORD>(size));
  if (shared.view() == nullptr) return false;
  std::memcpy(shared.view(), buffer, size);
  if (!send_gui_ipc(command, shared.text())) return false;
  std::memcpy(buffer, shared.view(), size);
  return true;
}

bool is_tray_running() {
  return find_tray_window() != nullptr;
}

}  // namespace vel
