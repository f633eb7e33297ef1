// The menus plug-in in the hands of a host that notes what it is asked for.

#include <atomic>
#include <map>

#include "companions/CompanionLibrary.h"
#include "support/ScopedVariable.h"
#include "support/Wait.h"
#include "vel/IVelPlugin.h"
#include "vel/IVelTrayMenu.h"
#include "vel/StringIds.h"

namespace vel::test {
namespace {

class FakeHost final : public IVelPluginHost {
 public:
  std::uint32_t need_session(const wchar_t* config) override {
    return Note(L"need " + std::wstring(config));
  }
  std::uint32_t close_session(const wchar_t* config, std::uint32_t) override {
    return Note(L"close " + std::wstring(config));
  }
  std::uint32_t shutdown(std::uint32_t) override { return VEL_STATUS_OK; }
  void set_notify_hint(const wchar_t* text) override { hint = text; }
  void set_notify_icon(HICON) override {}
  bool send_broadcast(const wchar_t*, std::uintptr_t, std::uintptr_t) override {
    return false;
  }
  void post_broadcast(const wchar_t*, std::uintptr_t, std::uintptr_t) override {
  }

  std::wstring hint, last_call;
  std::atomic<int> begun = 0, ended = 0;

 private:
  // Takes some time, on a thread that isn't the tray's.
  std::uint32_t Note(const std::wstring& call) {
    EXPECT_NE(GetCurrentThreadId(), _window_thread);
    last_call = call;
    ++begun;
    Sleep(100);
    ++ended;
    return VEL_STATUS_OK;
  }

  const DWORD _window_thread = GetCurrentThreadId();
};

using Item = std::pair<std::uint32_t, IVelMenuItemHandler*>;

struct FakeMenu final : IVelTrayMenu {
  void add_menu_item(std::uint32_t, std::uint32_t, std::uint32_t id,
                     const wchar_t* text, IVelMenuItemHandler* handler,
                     bool) override {
    items[text] = {id, handler};
  }

  std::map<std::wstring, Item> items;
};

template <class... Arguments>
std::wstring Text(UINT number, Arguments... arguments) {
  wchar_t format[512] = L"", text[512] = L"";
  LoadStringW(GetModuleHandleW(L"VELRCS.dll"), number, format, 512);
  _snwprintf(text, 511, format, arguments...);
  EXPECT_TRUE(*text) << number;
  return text;
}

class MenusPluginTest : public testing::Test {
 protected:
  Item Find(const std::wstring& text) {
    FakeMenu menu;
    _plugin->on_tray_menu_popup(&menu);
    return menu.items.at(text);
  }
  // Chooses the item, and waits for the call to the host to begin.
  void Choose(UINT number, const wchar_t* config) {
    const int before = _host.begun;
    const auto [id, handler] = Find(Text(number, config));
    handler->on_menu_event(VEL_MENU_EVENT_CHOSEN, id, 0);
    ASSERT_TRUE(WaitUntil([&] { return _host.begun == before + 1; }));
  }

  // Loaded before the plug-in is, as the tray does it.
  const CompanionLibrary _texts{L"VELRCS.dll", DONT_RESOLVE_DLL_REFERENCES};
  const ScopedVariable _folder{L"VELDIR", CompanionPath(L"")};
  const CompanionLibrary _library{L"Plugins\\VELMENUS.dll"};
  FakeHost _host;
  IVelPlugin* const _plugin = _library.Get<GetVELPluginFn>(
      VEL_GET_PLUGIN_EXPORT)(&_host, L" Normals ;;Normal;Work & play;");
};

TEST_F(MenusPluginTest, SessionsShowInHintAndMenu) {
  EXPECT_EQ(_host.hint, Text(VEL_STRING_HINT_NO_SESSION));
  // Sessions are only told apart by their pointers, never called.
  IVelSession* const first = reinterpret_cast<IVelSession*>(16);
  _plugin->on_session_startup(first, L"normal");
  _plugin->on_session_startup(nullptr, L"Foreign");
  EXPECT_EQ(_host.hint, Text(VEL_STRING_HINT_SESSIONS, 2u));
  Find(Text(VEL_STRING_MENU_END_SESSION, L"Normal"));
  _plugin->on_session_shutdown(first);
  EXPECT_EQ(_host.hint, Text(VEL_STRING_HINT_SESSIONS, 1u));
  Choose(VEL_STRING_MENU_END_SESSION, L"Foreign");
  EXPECT_EQ(_host.last_call, L"close Foreign");
  Choose(VEL_STRING_MENU_START_SESSION, L"Work && play");
  EXPECT_EQ(_host.last_call, L"need Work & play");
  Choose(VEL_STRING_MENU_START_SESSION, L"Normal");
  // Ends the plug-in as the tray does, down to the last question.
  _plugin->destroy();
  auto* const can_unload =
      _library.Get<VelDllCanUnloadNowFn>(VEL_CAN_UNLOAD_EXPORT);
  EXPECT_TRUE(WaitUntil([&] { return can_unload() == 0; }));
  EXPECT_EQ(_host.ended, 3) << "a call to the host still runs";
}

}  // namespace
}  // namespace vel::test
