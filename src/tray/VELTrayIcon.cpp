#include "tray/VELTrayIcon.h"

#include <process.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "foundation/I18N.h"
#include "log/VelLog.h"
#include "sessions/SessionEnding.h"
#include "sync/Trap.h"
#include "sync/VelSyncNt.h"
#include "tray/EntryHooks.h"
#include "tray/GuardedText.h"
#include "tray/GuiIpc.h"
#include "tray/LowAddress.h"
#include "tray/NotifyRecord.h"
#include "tray/ShellNotify.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

constexpr DWORD kQuitInterval = 100;  // ms

}  // namespace

const UINT taskbar_created_message = RegisterWindowMessageW(L"TaskbarCreated");

void* VELTrayIcon::operator new(std::size_t size) {
  return allocate_low(size);
}

void VELTrayIcon::operator delete(void* memory) noexcept {
  free_low(memory);
}

VELTrayIcon::VELTrayIcon(IVelGuiIpc* ipc, HICON icon, const std::wstring& tip,
                         const TrayMenuOwner& owner)
    : _ready_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      _next_default_tick(GetTickCount()),
      _build_menu(owner.build_menu),
      _build_menu_arg(owner.arg),
      _menu_mutex(CreateMutexW(nullptr, FALSE, nullptr)),
      _ipc(ipc),
      _request_exit(owner.request_exit),
      _window_lost(owner.window_lost) {
  if (!_ready_event || !_menu_mutex) vel_trap();
  _nid.cbSize = kNotifyRecordSize;
  _nid.uID = static_cast<UINT>(reinterpret_cast<std::uintptr_t>(this));
  _nid.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP;
  _nid.uCallbackMessage = kTrayCallbackMessage;
  _nid.hIcon = icon;
  copy_text(_nid.szTip, tip.c_str());

  _thread = SharedHandle(reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, 0, tray_window_thread, this, 0, nullptr)));
  if (!_thread) {
    throw std::runtime_error("VELTrayIcon: cannot start the window thread");
  }
  WaitForSingleObject(_ready_event.get(), INFINITE);
}

VELTrayIcon::~VELTrayIcon() {
  end_thread(INFINITE);
}

// Again and again: a message loop inside the window thread, that of a menu or
// of a dialog, may have swallowed the last one, and a menu may have opened only
// just now.
bool VELTrayIcon::end_thread(DWORD timeout_ms) {
  const ULONGLONG start = GetTickCount64();
  do {
    post(kTrayCloseMenuMessage, 0, 0);
    post_quit();
    if (WaitForSingleObject(_thread.get(), kQuitInterval) != WAIT_TIMEOUT) {
      return true;
    }
  } while (timeout_ms == INFINITE || GetTickCount64() - start < timeout_ms);
  return false;
}

void VELTrayIcon::set_tip(const std::wstring& text) {
  wchar_t* const copy = _wcsdup(text.c_str());
  if (copy == nullptr) return;
  if (!post(kTraySetTipMessage, 0, reinterpret_cast<LPARAM>(copy))) {
    std::free(copy);
  }
}

void VELTrayIcon::set_icon(HICON icon) {
  post(kTraySetIconMessage, 0, reinterpret_cast<LPARAM>(icon));
}

void VELTrayIcon::set_visible(bool on) {
  if (_icon_visible.exchange(on) != on) post(taskbar_created_message, 0, 0);
}

void VELTrayIcon::show_balloon(const std::wstring& text,
                               IVelMenuItemHandler* handler,
                               std::uint32_t info_flags) {
  auto* const record =
      static_cast<NOTIFYICONDATAW*>(std::calloc(1, sizeof(NOTIFYICONDATAW)));
  if (record == nullptr) return;
  record->dwInfoFlags = info_flags;
  copy_text(record->szInfo, text.c_str());
  if (!post(kTrayShowBalloonMessage, reinterpret_cast<WPARAM>(handler),
            reinterpret_cast<LPARAM>(record))) {
    std::free(record);
  }
}

// Without a window a plain post would go to the queue of the calling thread.
bool VELTrayIcon::post(UINT message, WPARAM wparam, LPARAM lparam) const {
  if (window() == nullptr) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return false;
  }
  return PostMessageW(window(), message, wparam, lparam) != FALSE;
}

void VELTrayIcon::post_quit() const {
  if (post(WM_QUIT, 0, 0)) return;
  PostThreadMessageW(GetThreadId(_thread.get()), WM_QUIT, 0, 0);
}

unsigned __stdcall VELTrayIcon::tray_window_thread(void* self) {
  auto* const icon = static_cast<VELTrayIcon*>(self);
  icon->create_window();
  SetEvent(icon->_ready_event.get());
  // The icon appears by its one way, the shell's message.
  if (!icon->post(taskbar_created_message, 0, 0)) {
    VelLog_Print(kLogError,
                 L"VELTrayIcon::tray_window_thread PostMessage error %u",
                 GetLastError());
  }
  if (!icon->run_message_loop()) {
    VelLog_Print(kLogError,
                 L"VELTrayIcon::tray_window_thread GetMessage error %u",
                 GetLastError());
    if (icon->_window_lost != nullptr) {
      icon->_window_lost(icon->_build_menu_arg);
    }
  }
  icon->arm_click_timer(false);
  invoke_Shell_NotifyIcon(NIM_DELETE, icon->_nid);
  return 0;
}

void VELTrayIcon::create_window() {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = tray_window_proc;
  window_class.hInstance = instance_handle;
  window_class.hIcon =
      LoadIconW(instance_handle, MAKEINTRESOURCEW(kTrayIconResource));
  window_class.lpszClassName = VEL_TRAY_WINDOW_CLASS;
  RegisterClassW(&window_class);
  _nid.hWnd = CreateWindowExW(WS_EX_TOOLWINDOW, VEL_TRAY_WINDOW_CLASS, L"",
                              WS_POPUP | WS_VISIBLE, -1, -1, 0, 0, nullptr,
                              nullptr, instance_handle, nullptr);
  // Kept as it is: the address goes through 32 bits with a sign, which
  // operator new makes harmless.
  SetWindowLongPtrW(window(), GWLP_USERDATA,
                    static_cast<LONG>(reinterpret_cast<LONG_PTR>(this)));
}

bool VELTrayIcon::run_message_loop() {
  MSG message;
  for (;;) {
    const BOOL got = GetMessageW(&message, nullptr, 0, 0);
    if (got <= 0) return got == 0;
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

LRESULT CALLBACK VELTrayIcon::tray_window_proc(HWND window, UINT message,
                                               WPARAM wparam,
                                               LPARAM lparam) noexcept {
  auto* const icon =
      reinterpret_cast<VELTrayIcon*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (icon == nullptr) return DefWindowProcW(window, message, wparam, lparam);
  return icon->handle_message(window, message, wparam, lparam);
}

LRESULT VELTrayIcon::handle_message(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam) {
  switch (message) {
    case WM_QUERYENDSESSION:
      return on_query_end_session(wparam, lparam);
    case WM_ENDSESSION:
      return on_end_session(wparam, lparam);
    case WM_COPYDATA:
      return on_copy_data(reinterpret_cast<const COPYDATASTRUCT*>(lparam));
    case WM_CLOSE:
      return on_close();
    case WM_SYSCOMMAND:
      // The low four bits are the system's own.
      if ((wparam & 0xFFF0) == SC_CLOSE) return 0;
      break;
    case WM_TIMER:
      if (wparam != kTrayClickTimer) break;
      on_click_timer();
      return 0;
    case kTrayCallbackMessage:
      return on_tray_mouse(wparam, lparam);
    case kTraySetTipMessage:
      return on_set_tip(reinterpret_cast<const wchar_t*>(lparam));
    case kTraySetIconMessage:
      return on_set_icon(reinterpret_cast<HICON>(lparam));
    case kTrayShowBalloonMessage:
      return on_show_balloon(reinterpret_cast<NOTIFYICONDATAW*>(lparam),
                             reinterpret_cast<IVelMenuItemHandler*>(wparam));
    case kTrayCloseMenuMessage:
      return on_close_menu();
    default:
      if (message == taskbar_created_message) refresh_icon();
      break;
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

LRESULT VELTrayIcon::on_query_end_session(WPARAM wparam, LPARAM lparam) {
  session_ending = true;
  VelLog_Print(kLogWarning,
               L"VELTrayIcon::tray_window_proc(WM_QUERYENDSESSION, 0x%x, 0x%x)",
               static_cast<unsigned>(wparam), static_cast<unsigned>(lparam));
  return query_end_session();
}

LRESULT VELTrayIcon::on_end_session(WPARAM wparam, LPARAM lparam) {
  VelLog_Print(kLogWarning,
               L"VELTrayIcon::tray_window_proc(WM_ENDSESSION, 0x%x, 0x%x)",
               static_cast<unsigned>(wparam), static_cast<unsigned>(lparam));
  const bool ending = wparam != 0;
  if (ending) vel_main_term();
  session_ending = ending;
  return 0;
}

// The window stays: it goes with the tray, which a plug-in can keep.
LRESULT VELTrayIcon::on_close() {
  if (_request_exit != nullptr) _request_exit(_build_menu_arg);
  return 0;
}

LRESULT VELTrayIcon::on_copy_data(const COPYDATASTRUCT* data) {
  if (data == nullptr || data->lpData == nullptr) return FALSE;
  if (data->cbData < VEL_GUI_IPC_MIN_COPYDATA) return FALSE;
  const auto* const block = static_cast<const unsigned char*>(data->lpData);
  std::uint32_t command;
  std::memcpy(&command, block, sizeof(command));
  const std::size_t length =
      (data->cbData - VEL_GUI_IPC_MIN_COPYDATA) / sizeof(wchar_t);
  try {
    std::wstring text(length, L'\0');
    std::memcpy(text.data(), block + sizeof(command), length * sizeof(wchar_t));
    return _ipc->on_gui_ipc(command, text) == 1;
  } catch (const std::bad_alloc&) {
    return FALSE;
  }
}

// The text isn't freed, which is kept on purpose: each change of a hint leaves
// its copy behind.
LRESULT VELTrayIcon::on_set_tip(const wchar_t* text) {
  // Any program can post this message with any address.
  if (!copy_text_guarded(_nid.szTip, std::size(_nid.szTip), text)) {
    copy_text(_nid.szTip, load_string(VEL_STRING_PRODUCT_NAME).c_str());
  }
  _nid.szTip[std::size(_nid.szTip) - 1] = L'\0';
  request_refresh();
  return 1;
}

LRESULT VELTrayIcon::on_set_icon(HICON icon) {
  const HICON former = _nid.hIcon;
  _nid.hIcon = icon;
  request_refresh();
  return reinterpret_cast<LRESULT>(former);
}

LRESULT VELTrayIcon::query_end_session() {
  // The process is ending already.
  if (_query_end_pending) return 0;
  _query_end_pending = true;
  DWORD code = 0;
  const ScopedHandle thread(reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, 0, query_end_thread, nullptr, 0, nullptr)));
  if (thread && WaitWithMessages(thread.get()) == kWaitSignalled) {
    GetExitCodeThread(thread.get(), &code);
  }
  if (code == 0) _query_end_pending = false;
  return static_cast<LRESULT>(code);
}

// On a thread of its own, since it sends to the window that waits for it.
unsigned __stdcall VELTrayIcon::query_end_thread(void*) {
  if (!send_gui_ipc(VELGUI_IPC_SOFT_SHUTDOWN, L"2")) return 0;
  send_gui_ipc(VELGUI_IPC_SHUTDOWN, L"");
  return 1;
}

}  // namespace vel
