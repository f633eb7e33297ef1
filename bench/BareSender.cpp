// The least that a program can do to hand its command line to the tray: what
// the second copy of the product is measured against.
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <cwchar>

#include "vel/GuiIpc.h"

namespace {

unsigned char block[0x10000];

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
  const wchar_t* text = GetCommandLineW();
  const std::size_t text_bytes = std::wcslen(text) * sizeof(wchar_t);
  const std::uint32_t command = VELGUI_IPC_RUNCMD;
  COPYDATASTRUCT data{};
  data.cbData = static_cast<DWORD>(VEL_GUI_IPC_MIN_COPYDATA + text_bytes);
  data.lpData = block;
  if (data.cbData > sizeof block) return 2;
  std::memcpy(block, &command, sizeof command);
  std::memcpy(block + sizeof command, text, text_bytes);

  const HWND window = FindWindowW(VEL_TRAY_WINDOW_CLASS, L"");
  if (window == nullptr) return 1;
  const LRESULT answer =
      SendMessageW(window, WM_COPYDATA, 0, reinterpret_cast<LPARAM>(&data));
  return answer != 0 ? 0 : 1;
}
