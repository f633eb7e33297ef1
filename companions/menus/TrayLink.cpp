#include "menus/TrayLink.h"

#include <windows.h>

#include <cstring>
#include <string_view>
#include <vector>

#include "vel/GuiIpc.h"

namespace velmenus {
namespace {

// In a value, BEL and the characters that would end it stand as BEL and a
// digit.
std::wstring escaped(std::wstring_view value) {
  constexpr wchar_t kEscape = L'\a';
  std::wstring result;
  for (const wchar_t letter : value) {
    switch (letter) {
      case kEscape:
        result += L"\a1";
        break;
      case L'"':
        result += L"\a2";
        break;
      case L'\0':
        result += L"\a3";
        break;
      default:
        result += letter;
    }
  }
  return result;
}

HWND own_tray_window() {
  HWND window = nullptr;
  while ((window = FindWindowExW(nullptr, window, VEL_TRAY_WINDOW_CLASS,
                                 L"")) != nullptr) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == GetCurrentProcessId()) break;
  }
  return window;
}

}  // namespace

std::wstring open_command(const std::wstring& configuration,
                          const std::wstring& file) {
  return L"/shex_cfg=\"" + escaped(configuration) + L"\" /shex_file=\"" +
         escaped(file) + L"\"";
}

bool send_run_command(const std::wstring& command) {
  const HWND window = own_tray_window();
  if (!window) return false;
  const std::uint32_t number = VELGUI_IPC_RUNCMD;
  const std::size_t text_size = command.size() * sizeof(wchar_t);
  std::vector<unsigned char> block(VEL_GUI_IPC_MIN_COPYDATA + text_size);
  std::memcpy(block.data(), &number, sizeof number);
  std::memcpy(block.data() + sizeof number, command.data(), text_size);
  COPYDATASTRUCT copy_data = {0, static_cast<DWORD>(block.size()),
                              block.data()};
  return SendMessageW(window, WM_COPYDATA, 0,
                      reinterpret_cast<LPARAM>(&copy_data)) != 0;
}

}  // namespace velmenus
