// The tray's side of a plug-in's contract, as far as a test needs it.
#ifndef VEL_TESTS_COMPANIONS_FAKETRAY_H_
#define VEL_TESTS_COMPANIONS_FAKETRAY_H_

#include <windows.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "vel/IVelPlugin.h"
#include "vel/IVelTrayMenu.h"

namespace vel::test {

// Polls for up to 30 seconds.
bool WaitUntil(const std::function<bool()>& condition);

class FakeHost final : public IVelPluginHost {
 public:
  std::uint32_t need_session(const wchar_t* config) override;
  std::uint32_t close_session(const wchar_t* config,
                              std::uint32_t shutdown_type) override;
  std::uint32_t shutdown(std::uint32_t) override { return VEL_STATUS_OK; }
  void set_notify_hint(const wchar_t* text) override;
  void set_notify_icon(HICON) override {}
  bool send_broadcast(const wchar_t*, std::uintptr_t, std::uintptr_t) override {
    return false;
  }
  void post_broadcast(const wchar_t* name, std::uintptr_t,
                      std::uintptr_t) override;

  std::uint32_t result = VEL_STATUS_OK;
  // Set: the next calls about sessions wait for it.
  HANDLE blocks = nullptr;
  std::wstring hint;
  std::vector<std::wstring> posted;
  std::wstring last_call;
  DWORD last_thread = 0;
  std::atomic<int> calls = 0;

 private:
  std::uint32_t Note(const std::wstring& call);
};

class FakeMenu final : public IVelTrayMenu {
 public:
  struct Item {
    std::uint32_t parent;
    std::uint32_t type;
    std::uint32_t id;
    std::wstring text;
    IVelMenuItemHandler* handler;
    bool flag;
  };

  void add_menu_item(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
                     const wchar_t* text, IVelMenuItemHandler* handler,
                     bool flag) override;
  // The item with this text; its absence fails the test.
  Item Find(const std::wstring& text) const;
  void Choose(const std::wstring& text) const;

  std::vector<Item> items;
};

// A window of the tray's class on a thread of its own, which takes GUI IPC
// commands while it lives.
class FakeTrayWindow {
 public:
  FakeTrayWindow();
  ~FakeTrayWindow();
  FakeTrayWindow(const FakeTrayWindow&) = delete;
  FakeTrayWindow& operator=(const FakeTrayWindow&) = delete;

  int received() const { return _received; }
  std::uint32_t command() const { return _command; }
  const std::wstring& text() const { return _text; }

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam);
  void Run(HANDLE ready);

  HWND _window = nullptr;
  std::uint32_t _command = 0;
  std::wstring _text;
  std::atomic<int> _received = 0;
  std::thread _thread;
};

}  // namespace vel::test

#endif  // VEL_TESTS_COMPANIONS_FAKETRAY_H_
