// Stand-ins for what lies around the tray: the shell, the menu, the plug-ins
// and the session library. The window and its thread are real.
#ifndef VEL_TESTS_TRAY_TRAYFIXTURE_H_
#define VEL_TESTS_TRAY_TRAYFIXTURE_H_

#include <algorithm>
#include <cstring>

#include "Rig.h"
#include "foundation/DialogFactory.h"
#include "foundation/I18N.h"
#include "foundation/Text.h"
#include "tray/GuiIpc.h"
#include "tray/ShellNotify.h"
#include "tray/TrayMenuHolder.h"
#include "tray/VELTrayIcon.h"

namespace vel::test {

// Takes all calls to the shell for its life; one at a time.
struct [[nodiscard]] FakeShell {
  [[nodiscard]] FakeShell() {
    s_shell = this;
    replace_shell_notify(Take);
  }
  ~FakeShell() { replace_shell_notify(nullptr); }

  struct State {
    std::string calls;  // "ADM" for add, delete, modify
    NOTIFYICONDATAW shown{};
  };
  State Now() const {
    const VelFastMutex::Scope scope(_lock);
    return _state;
  }
  void Clear() {
    const VelFastMutex::Scope scope(_lock);
    _state = {};
  }
  bool WaitForTip(const std::wstring& tip) const {
    return WaitUntil([&] { return tip == Now().shown.szTip; });
  }

  std::atomic<unsigned> refused{0};  // a bit for each message that fails

  static BOOL WINAPI Take(DWORD message, NOTIFYICONDATAW* data) {
    EXPECT_EQ(GetWindowThreadProcessId(data->hWnd, nullptr),
              GetCurrentThreadId());
    const VelFastMutex::Scope scope(s_shell->_lock);
    s_shell->_state.calls += "AMD"[message];
    s_shell->_state.shown = *data;
    return (s_shell->refused >> message & 1) == 0;
  }

  static inline FakeShell* s_shell;
  mutable VelFastMutex _lock;
  State _state;
};

// The menu of the dialog library, and its factory.
struct FakeMenu : public IVelPopupMenu, public IVelDialogFactory {
  // Dialogs and strings are loaded once, from beside the test program, before
  // a test has a product folder of its own.
  FakeMenu() {
    dialog_library();
    get_i18n();
    open_door<IVelDialogFactory>(this);
  }
  // Returns when the window has handled all that was posted to it before.
  void Settle(HWND window) {
    SendMessageW(window, WM_NULL, 0, 0);
    PostMessageW(window, kTrayCallbackMessage, 0, WM_RBUTTONUP);
    EXPECT_TRUE(WaitUntil([this] { return shown.exchange(0) != 0; }));
  }
  IVelPopupMenu* create_menu() override { return this; }
  void release() override {}
  void add_item(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
                const wchar_t* text, IVelMenuItemHandler* handler,
                bool flag) override {
    items.push_back(
        FormatWide(L"%u %u %u %s %u", parent, type, id, text, flag));
    handlers.push_back(handler);
  }
  void clear_items() override { items.clear(), handlers.clear(); }
  void show_at(const POINT*, HWND) override {
    if (on_show) on_show();
    ++shown;
  }
  void run_default(std::uint32_t) override {}
  void reserved_3() override {}
  void reserved_6() override {}

  EventList items;  // parent, type, id, text, flag
  std::vector<IVelMenuItemHandler*> handlers;
  std::function<void()> on_show;
  std::atomic<int> shown{0};
};

// A plug-in with an item in the menu, where the test decides whether it ends a
// broadcast.
struct TrayPlugin : public Probe {
  using Probe::Probe;

  void on_tray_menu_popup(IVelTrayMenu* menu) override {
    menu->add_menu_item(0, VEL_MENU_ITEM_BOLD, 7, L"own", on_item, true);
  }
  bool on_broadcast(IVelPlugin* sender, const wchar_t* name, std::uintptr_t a,
                    std::uintptr_t b) override {
    Probe::on_broadcast(sender, name, a, b);
    return answer && answer(name, a, b);
  }

  std::function<bool(const std::wstring&, std::uintptr_t, std::uintptr_t)>
      answer;
};

// The test's thread is the tray's main thread. The plug-ins "a" and "b" have
// their names as hints.
class TrayFixture : public testing::Test,
                    public IPluginDoor,
                    public IVelMenuItemHandler {
 protected:
  // Brings the tray up, waits until its plug-ins know, and forgets it.
  void SetUp() override {
    open_door<IPluginDoor>(this);
    _tray = std::make_unique<TrayMenuHolder>(nullptr);
    EXPECT_TRUE(WaitUntil([&] { return Has(L"b: VELGUI_INITIALIZED 0 0"); }));
    _menu.Settle(Window());
    Take();
  }
  TrayMenuHolder& tray() { return *_tray; }
  static HWND Window() { return FindWindowW(VEL_TRAY_WINDOW_CLASS, L""); }
  static VELTrayIcon& icon() {
    const LONG_PTR address = GetWindowLongPtrW(Window(), GWLP_USERDATA);
    return *reinterpret_cast<VELTrayIcon*>(address);
  }
  static LRESULT Send(UINT message, WPARAM wparam = 0, LPARAM lparam = 0) {
    return SendMessageW(Window(), message, wparam, lparam);
  }
  static LRESULT Mouse(LPARAM mouse_message) {
    return Send(kTrayCallbackMessage, 77, mouse_message);
  }
  void Show() {
    icon().set_visible(true);
    _menu.Settle(Window());
    _shell.Clear();
  }

  // What plug-ins and sessions have noted since the last Take.
  EventList Take() {
    Has({});
    return std::exchange(_seen, {});
  }
  bool Has(const std::wstring& event) {
    for (auto& seen : _sessions.events.take()) _seen.push_back(std::move(seen));
    return std::find(_seen.begin(), _seen.end(), event) != _seen.end();
  }
  // Whether the tray has asked the main loop to end; the message is taken.
  static bool QuitPosted() {
    MSG message;
    return PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE);
  }

  IVelPlugin* get_plugin(IVelPluginHost* host, const wchar_t* name) override {
    TrayPlugin& plugin = *name == L'a' ? _a : _b;
    plugin.host = host;
    host->set_notify_hint(name);
    return &plugin;
  }
  long can_unload_now() override { return 0; }
  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override {
    _sessions.events.add(FormatWide(L"event %u %u %I64u", event, id, param));
  }

  FakeShell _shell;
  FakeMenu _menu;
  SessionRig _sessions;
  TrayPlugin _a{_sessions.events, L"a"};
  TrayPlugin _b{_sessions.events, L"b"};
  EventList _seen;
  std::unique_ptr<TrayMenuHolder> _tray;
};

}  // namespace vel::test

#endif  // VEL_TESTS_TRAY_TRAYFIXTURE_H_
