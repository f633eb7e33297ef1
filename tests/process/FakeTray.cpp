#include "process/FakeTray.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "vel/GuiIpc.h"

namespace vel::test {
namespace {

constexpr UINT_PTR kVanishTimer = 1;

}  // namespace

FakeTray::FakeTray(Answer answer)
    : _answer(std::move(answer)),
      _ready(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      _thread(CreateThread(nullptr, 0, &ThreadMain, this, 0, nullptr)) {
  WaitForSingleObject(_ready, INFINITE);
  EXPECT_TRUE(_window) << "no window for the fake tray";
}

FakeTray::~FakeTray() {
  PostMessageW(_window, WM_CLOSE, 0, 0);
  WaitForSingleObject(_thread, INFINITE);
  CloseHandle(_thread);
  CloseHandle(_ready);
}

std::vector<TrayCommand> FakeTray::commands() {
  const std::lock_guard guard(_lock);
  return _commands;
}

void FakeTray::VanishAfter(UINT ms) {
  SetTimer(_window, kVanishTimer, ms, nullptr);
}

DWORD WINAPI FakeTray::ThreadMain(void* self) {
  static_cast<FakeTray*>(self)->RunWindow();
  return 0;
}

void FakeTray::RunWindow() {
  const HINSTANCE module = GetModuleHandleW(nullptr);
  WNDCLASSW description = {};
  description.lpfnWndProc = &WindowProcedure;
  description.hInstance = module;
  description.lpszClassName = VEL_TRAY_WINDOW_CLASS;
  RegisterClassW(&description);
  _window = CreateWindowExW(0, VEL_TRAY_WINDOW_CLASS, L"", WS_OVERLAPPED, 0, 0,
                            0, 0, nullptr, nullptr, module, this);
  SetEvent(_ready);
  MSG message;
  while (_window && GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchMessageW(&message);
  }
  UnregisterClassW(VEL_TRAY_WINDOW_CLASS, module);
}

LRESULT CALLBACK FakeTray::WindowProcedure(HWND window, UINT message,
                                           WPARAM wparam, LPARAM lparam) {
  if (message == WM_NCCREATE) {
    const auto* const create = reinterpret_cast<CREATESTRUCTW*>(lparam);
    SetWindowLongPtrW(window, GWLP_USERDATA,
                      reinterpret_cast<LONG_PTR>(create->lpCreateParams));
  }
  auto* const self =
      reinterpret_cast<FakeTray*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self && (message == WM_COPYDATA || message == WM_TIMER)) {
    return self->Handle(message, wparam, lparam);
  }
  if (message == WM_DESTROY) PostQuitMessage(0);
  return DefWindowProcW(window, message, wparam, lparam);
}

LRESULT FakeTray::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_COPYDATA) {
    return Receive(*reinterpret_cast<const COPYDATASTRUCT*>(lparam));
  }
  if (wparam == kVanishTimer) DestroyWindow(_window);
  return 0;
}

bool FakeTray::Receive(const COPYDATASTRUCT& data) {
  EXPECT_GE(data.cbData, VEL_GUI_IPC_MIN_COPYDATA);
  if (data.cbData < VEL_GUI_IPC_MIN_COPYDATA) return false;
  const auto* const bytes = static_cast<const unsigned char*>(data.lpData);
  TrayCommand command;
  std::memcpy(&command.command, bytes, sizeof command.command);
  command.text.resize((data.cbData - VEL_GUI_IPC_MIN_COPYDATA) / 2);
  std::memcpy(command.text.data(), bytes + sizeof command.command,
              2 * command.text.size());
  {
    const std::lock_guard guard(_lock);
    _commands.push_back(command);
  }
  return _answer(command);
}

}  // namespace vel::test
