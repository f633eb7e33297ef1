#include "harness/StandInShell.h"

#include <shellapi.h>

#include <algorithm>
#include <cstring>

namespace vel::test {
namespace {

constexpr wchar_t kShellClass[] = L"Shell_TrayWnd";

// The beginning of what Wine's shell library sends.
struct NotifyData {
  LONG window;
  UINT id;
  UINT flags;
  UINT callback;
  wchar_t tip[128];
};

}  // namespace

bool RunsUnderWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") !=
         nullptr;
}

StandInShell::StandInShell(unsigned refusals)
    : _ready(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      _thread(nullptr),
      _refusals(refusals) {
  _thread = CreateThread(nullptr, 0, &Run, this, 0, nullptr);
  WaitForSingleObject(_ready, INFINITE);
}

StandInShell::~StandInShell() {
  PostMessageW(_window, WM_CLOSE, 0, 0);
  WaitForSingleObject(_thread, INFINITE);
  CloseHandle(_thread);
  CloseHandle(_ready);
}

std::vector<StandInShell::Call> StandInShell::Calls() const {
  const std::lock_guard scope(_lock);
  return _calls;
}

std::size_t StandInShell::Count(DWORD message) const {
  const auto calls = Calls();
  return static_cast<std::size_t>(std::count_if(
      calls.begin(), calls.end(),
      [message](const Call& call) { return call.message == message; }));
}

bool StandInShell::HasIcon() const {
  const std::lock_guard scope(_lock);
  return _has_icon;
}

void StandInShell::Announce(HWND window) {
  PostMessageW(window, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0);
}

DWORD WINAPI StandInShell::Run(void* self) {
  auto* const shell = static_cast<StandInShell*>(self);
  WNDCLASSW window_class = {};
  window_class.lpfnWndProc = &Procedure;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = kShellClass;
  RegisterClassW(&window_class);
  // The top-most window is the first one that is found.
  shell->_window = CreateWindowExW(
      WS_EX_TOPMOST | WS_EX_TOOLWINDOW, kShellClass, L"", WS_POPUP | WS_VISIBLE,
      0, 0, 1, 1, nullptr, nullptr, window_class.hInstance, nullptr);
  SetWindowLongPtrW(shell->_window, GWLP_USERDATA,
                    reinterpret_cast<LONG_PTR>(shell));
  SetWindowPos(shell->_window, HWND_TOPMOST, 0, 0, 0, 0,
               SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
  SetEvent(shell->_ready);
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  return 0;
}

LRESULT CALLBACK StandInShell::Procedure(HWND window, UINT message,
                                         WPARAM wparam, LPARAM lparam) {
  auto* const shell =
      reinterpret_cast<StandInShell*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == WM_DESTROY) PostQuitMessage(0);
  if (message == WM_COPYDATA && shell) {
    return shell->OnCall(*reinterpret_cast<const COPYDATASTRUCT*>(lparam));
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

bool StandInShell::OnCall(const COPYDATASTRUCT& data) {
  if (data.cbData < sizeof(NotifyData)) return false;
  NotifyData sent;
  std::memcpy(&sent, data.lpData, sizeof sent);
  const auto message = static_cast<DWORD>(data.dwData);
  const std::lock_guard scope(_lock);
  _calls.push_back({message,
                    reinterpret_cast<HWND>(static_cast<LONG_PTR>(sent.window)),
                    sent.callback,
                    {sent.tip, wcsnlen(sent.tip, ARRAYSIZE(sent.tip))}});
  if (_refusals > 0) {
    --_refusals;
    return false;
  }
  // As the shell does: what is there can't be added, what isn't can't be
  // changed.
  if (message == NIM_ADD && _has_icon) return false;
  if (message != NIM_ADD && !_has_icon) return false;
  _has_icon = message != NIM_DELETE;
  return true;
}

}  // namespace vel::test
