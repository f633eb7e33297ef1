#include "SessionView/Window.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "SessionView/Resource.h"
#include "sync/ProcAddress.h"

namespace sessionview {
namespace {

constexpr wchar_t kClass[] = L"VEL_SESSION_VIEW";
// WM_DPICHANGED and its parameters are there from Windows 8.1 on.
constexpr UINT kDpiChanged = 0x02E0;

// At 96 dots per inch.
constexpr int kWidth = 820;
constexpr int kHeight = 600;
constexpr int kMargin = 8;
constexpr int kPoints = 10;
constexpr int kPointsInAnInch = 72;

int scaled(int pixels, UINT dpi) {
  return MulDiv(pixels, static_cast<int>(dpi), USER_DEFAULT_SCREEN_DPI);
}

// Of the window's monitor where Windows tells that, else of the screen.
UINT dpi_of(HWND window) {
  const auto dpi_for_window = vel::proc_address<UINT(WINAPI*)(HWND)>(
      GetModuleHandleW(L"user32.dll"), "GetDpiForWindow");
  if (dpi_for_window != nullptr) return dpi_for_window(window);
  const HDC screen = GetDC(nullptr);
  const int dpi = GetDeviceCaps(screen, LOGPIXELSX);
  ReleaseDC(nullptr, screen);
  return static_cast<UINT>(dpi);
}

// The usual size, but not more than there is room for.
void set_first_size(HWND window, UINT dpi) {
  MONITORINFO monitor = {};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST),
                  &monitor);
  const RECT& work = monitor.rcWork;
  const int room_x = work.right - work.left;
  const int room_y = work.bottom - work.top;
  const int width = std::min(scaled(kWidth, dpi), room_x);
  const int height = std::min(scaled(kHeight, dpi), room_y);
  SetWindowPos(window, nullptr, work.left + (room_x - width) / 2,
               work.top + (room_y - height) / 2, width, height,
               SWP_NOZORDER | SWP_NOACTIVATE);
}

BOOL CALLBACK add_title(HWND window, LPARAM titles) {
  wchar_t name[std::size(kClass) + 1];
  GetClassNameW(window, name, static_cast<int>(std::size(name)));
  if (std::wcscmp(name, kClass) != 0) return TRUE;
  std::wstring title(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1,
                     L'\0');
  title.resize(static_cast<std::size_t>(
      GetWindowTextW(window, title.data(), static_cast<int>(title.size()))));
  *reinterpret_cast<std::wstring*>(titles) += title + L"\r\n";
  return TRUE;
}

}  // namespace

std::wstring Window::open_titles() {
  std::wstring titles;
  EnumWindows(&add_title, reinterpret_cast<LPARAM>(&titles));
  return titles;
}

Window::~Window() {
  if (_font != nullptr) DeleteObject(_font);
}

bool Window::run(int show) {
  if (!create()) return false;
  ShowWindow(_window, show);
  SetForegroundWindow(_window);
  const HACCEL keys =
      LoadAcceleratorsW(_instance, MAKEINTRESOURCEW(SESSIONVIEW_KEYS));
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (TranslateAcceleratorW(_window, keys, &message)) continue;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  return true;
}

bool Window::create() {
  WNDCLASSEXW window_class = {};
  window_class.cbSize = sizeof window_class;
  window_class.lpfnWndProc = &procedure;
  window_class.hInstance = _instance;
  window_class.hIcon = LoadIconW(_instance, MAKEINTRESOURCEW(SESSIONVIEW_ICON));
  window_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  window_class.hbrBackground = GetSysColorBrush(COLOR_WINDOW);
  window_class.lpszClassName = kClass;
  if (RegisterClassExW(&window_class) == 0) return false;
  CreateWindowExW(0, kClass, _title.c_str(), WS_OVERLAPPEDWINDOW, CW_USEDEFAULT,
                  CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr,
                  _instance, this);
  if (_window == nullptr) return false;
  set_first_size(_window, dpi_of(_window));
  return true;
}

LRESULT CALLBACK Window::procedure(HWND window, UINT message, WPARAM wparam,
                                   LPARAM lparam) noexcept {
  if (message == WM_NCCREATE) {
    const auto* const start = reinterpret_cast<const CREATESTRUCTW*>(lparam);
    SetWindowLongPtrW(window, GWLP_USERDATA,
                      reinterpret_cast<LONG_PTR>(start->lpCreateParams));
    static_cast<Window*>(start->lpCreateParams)->_window = window;
  }
  auto* const self =
      reinterpret_cast<Window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  return self != nullptr ? self->on_message(message, wparam, lparam)
                         : DefWindowProcW(window, message, wparam, lparam);
}

LRESULT Window::on_message(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_CREATE:
      return on_create() ? 0 : -1;
    case WM_SIZE:
      MoveWindow(_edit, 0, 0, LOWORD(lparam), HIWORD(lparam), TRUE);
      return 0;
    case WM_SETFOCUS:
      SetFocus(_edit);
      return 0;
    case WM_COMMAND:
      on_command(LOWORD(wparam));
      return 0;
    case WM_CTLCOLORSTATIC:
      // A read-only text would be as grey as the window of a dialog.
      return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_WINDOW));
    case kDpiChanged:
      on_dpi_changed(LOWORD(wparam), *reinterpret_cast<const RECT*>(lparam));
      return 0;
    case WM_NCDESTROY:
      SetWindowLongPtrW(_window, GWLP_USERDATA, 0);
      _window = nullptr;
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(_window, message, wparam, lparam);
  }
}

bool Window::on_create() {
  _edit = CreateWindowExW(0, L"EDIT", _text.c_str(),
                          WS_CHILD | WS_VISIBLE | WS_VSCROLL | ES_MULTILINE |
                              ES_READONLY | ES_AUTOVSCROLL,
                          0, 0, 0, 0, _window, nullptr, _instance, nullptr);
  if (_edit == nullptr) return false;
  scale_text(dpi_of(_window));
  return true;
}

void Window::on_command(int command) {
  if (command == IDCANCEL) DestroyWindow(_window);
  if (command == SESSIONVIEW_SELECT_ALL) SendMessageW(_edit, EM_SETSEL, 0, -1);
}

void Window::on_dpi_changed(UINT dpi, const RECT& proposed) {
  scale_text(dpi);
  SetWindowPos(_window, nullptr, proposed.left, proposed.top,
               proposed.right - proposed.left, proposed.bottom - proposed.top,
               SWP_NOZORDER | SWP_NOACTIVATE);
}

void Window::scale_text(UINT dpi) {
  LOGFONTW look = {};
  look.lfHeight = -MulDiv(kPoints, static_cast<int>(dpi), kPointsInAnInch);
  look.lfCharSet = DEFAULT_CHARSET;
  look.lfQuality = CLEARTYPE_QUALITY;
  // Values stand in one column.
  look.lfPitchAndFamily = FIXED_PITCH | FF_MODERN;
  wcscpy(look.lfFaceName, L"Consolas");
  const HFONT font = CreateFontIndirectW(&look);
  if (font == nullptr) return;
  SendMessageW(_edit, WM_SETFONT, reinterpret_cast<WPARAM>(font), TRUE);
  const auto margin = static_cast<WORD>(scaled(kMargin, dpi));
  SendMessageW(_edit, EM_SETMARGINS, EC_LEFTMARGIN | EC_RIGHTMARGIN,
               MAKELPARAM(margin, margin));
  if (_font != nullptr) DeleteObject(_font);
  _font = font;
}

}  // namespace sessionview
