#include "companions/FakeTray.h"

#include <gtest/gtest.h>

#include <cstring>

#include "vel/GuiIpc.h"

namespace vel::test {

bool WaitUntil(const std::function<bool()>& condition) {
  for (int waited = 0; waited < 30000; waited += 20) {
    if (condition()) return true;
    Sleep(20);
  }
  return condition();
}

std::uint32_t FakeHost::Note(const std::wstring& call) {
  last_call = call;
  last_thread = GetCurrentThreadId();
  ++calls;
  if (blocks) WaitForSingleObject(blocks, INFINITE);
  return result;
}

std::uint32_t FakeHost::need_session(const wchar_t* config) {
  return Note(L"need_session " + std::wstring(config));
}

std::uint32_t FakeHost::close_session(const wchar_t* config,
                                      std::uint32_t shutdown_type) {
  return Note(L"close_session " + std::wstring(config) + L" " +
              std::to_wstring(shutdown_type));
}

void FakeHost::set_notify_hint(const wchar_t* text) {
  hint = text;
}

void FakeHost::post_broadcast(const wchar_t* name, std::uintptr_t,
                              std::uintptr_t) {
  posted.emplace_back(name);
}

void FakeMenu::add_menu_item(std::uint32_t parent, std::uint32_t type,
                             std::uint32_t id, const wchar_t* text,
                             IVelMenuItemHandler* handler, bool flag) {
  items.push_back({parent, type, id, text, handler, flag});
}

FakeMenu::Item FakeMenu::Find(const std::wstring& text) const {
  for (const Item& each : items) {
    if (each.text == text) return each;
  }
  ADD_FAILURE() << "no item " << std::string(text.begin(), text.end());
  return {};
}

void FakeMenu::Choose(const std::wstring& text) const {
  const Item item = Find(text);
  ASSERT_TRUE(item.handler);
  item.handler->on_menu_event(VEL_MENU_EVENT_CHOSEN, item.id, 0);
}

FakeTrayWindow::FakeTrayWindow() {
  const HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  _thread = std::thread([this, ready] { Run(ready); });
  WaitForSingleObject(ready, INFINITE);
  CloseHandle(ready);
}

FakeTrayWindow::~FakeTrayWindow() {
  PostMessageW(_window, WM_CLOSE, 0, 0);
  _thread.join();
}

void FakeTrayWindow::Run(HANDLE ready) {
  WNDCLASSW window_class = {};
  window_class.lpfnWndProc = &Procedure;
  window_class.lpszClassName = VEL_TRAY_WINDOW_CLASS;
  RegisterClassW(&window_class);
  _window = CreateWindowExW(0, VEL_TRAY_WINDOW_CLASS, L"", WS_POPUP, 0, 0, 0, 0,
                            nullptr, nullptr, nullptr, nullptr);
  SetWindowLongPtrW(_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  SetEvent(ready);
  MSG message;
  while (IsWindow(_window) && GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchMessageW(&message);
  }
}

LRESULT CALLBACK FakeTrayWindow::Procedure(HWND window, UINT message,
                                           WPARAM wparam, LPARAM lparam) {
  const auto self = reinterpret_cast<FakeTrayWindow*>(
      GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message != WM_COPYDATA || !self) {
    return DefWindowProcW(window, message, wparam, lparam);
  }
  const auto& data = *reinterpret_cast<const COPYDATASTRUCT*>(lparam);
  const auto bytes = static_cast<const unsigned char*>(data.lpData);
  std::memcpy(&self->_command, bytes, sizeof self->_command);
  self->_text.resize((data.cbData - VEL_GUI_IPC_MIN_COPYDATA) / 2);
  std::memcpy(self->_text.data(), bytes + 4, self->_text.size() * 2);
  ++self->_received;
  return TRUE;
}

}  // namespace vel::test
