// The menus plug-in in the hands of a host that notes what it is asked for.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "companions/CompanionLibrary.h"
#include "foundation/CommandLine.h"
#include "vel/GuiIpc.h"
#include "vel/IVelPlugin.h"
#include "vel/IVelTrayMenu.h"
#include "vel/StringIds.h"

namespace vel::test {
namespace {

constexpr wchar_t kKey[] = L"Software\\Tessavane\\VELTest\\Menus";

class FakeHost final : public IVelPluginHost {
 public:
  std::uint32_t need_session(const wchar_t* config) override {
    return Note(L"need_session " + std::wstring(config));
  }
  std::uint32_t close_session(const wchar_t* config, std::uint32_t) override {
    return Note(L"close_session " + std::wstring(config));
  }
  std::uint32_t shutdown(std::uint32_t) override { return VEL_STATUS_OK; }
  void set_notify_hint(const wchar_t* text) override { hint = text; }
  void set_notify_icon(HICON) override {}
  bool send_broadcast(const wchar_t*, std::uintptr_t, std::uintptr_t) override {
    return false;
  }
  void post_broadcast(const wchar_t* name, std::uintptr_t,
                      std::uintptr_t) override {
    posted.emplace_back(name);
  }

  std::uint32_t result = VEL_STATUS_OK;
  DWORD pause = 0;  // ms that a call about a session takes
  std::wstring hint;
  std::vector<std::wstring> posted;
  std::wstring last_call;
  std::atomic<int> begun = 0;
  std::atomic<int> ended = 0;

 private:
  std::uint32_t Note(const std::wstring& call) {
    EXPECT_NE(GetCurrentThreadId(), _window_thread);
    last_call = call;
    ++begun;
    Sleep(pause);
    ++ended;
    return result;
  }

  const DWORD _window_thread = GetCurrentThreadId();
};

struct Item {
  std::uint32_t parent, type;
  std::wstring text;
  bool flag;
  bool operator==(const Item&) const = default;
};

class FakeMenu final : public IVelTrayMenu {
 public:
  void add_menu_item(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
                     const wchar_t* text, IVelMenuItemHandler* target,
                     bool flag) override {
    items.push_back({parent, type, text, flag});
    by_text[text] = {id, flag};
    handler = target;
  }

  std::vector<Item> items;
  std::map<std::wstring, std::pair<std::uint32_t, bool>> by_text;
  IVelMenuItemHandler* handler = nullptr;
};

// The visible dialog of this process, or null.
HWND OpenDialog() {
  HWND window = nullptr;
  while ((window = FindWindowExW(nullptr, window, L"#32770", nullptr))) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == GetCurrentProcessId() && IsWindowVisible(window)) break;
  }
  return window;
}

HWND WaitForDialog() {
  EXPECT_TRUE(WaitUntil([] { return OpenDialog() != nullptr; }));
  return OpenDialog();
}

// Whether a message box with this text comes up.
bool IsShown(const std::wstring& text) {
  return FindWindowExW(WaitForDialog(), nullptr, L"Static", text.c_str());
}

std::wstring Text(UINT number) {
  wchar_t text[512] = L"";
  LoadStringW(GetModuleHandleW(L"VELRCS.dll"), number, text, 512);
  EXPECT_TRUE(*text) << number;
  return text;
}

template <class... Arguments>
std::wstring Format(UINT number, Arguments... arguments) {
  wchar_t text[512] = L"";
  _snwprintf(text, 511, Text(number).c_str(), arguments...);
  return text;
}

// What the window of the tray's class has been sent.
DWORD sent_command = 0;
std::wstring sent_text;

LRESULT CALLBACK TrayProcedure(HWND window, UINT message, WPARAM wparam,
                               LPARAM lparam) {
  if (message != WM_COPYDATA) {
    return DefWindowProcW(window, message, wparam, lparam);
  }
  const auto& data = *reinterpret_cast<const COPYDATASTRUCT*>(lparam);
  const auto words = static_cast<const DWORD*>(data.lpData);
  sent_command = *words;
  sent_text.assign(reinterpret_cast<const wchar_t*>(words + 1),
                   (data.cbData - VEL_GUI_IPC_MIN_COPYDATA) / sizeof(wchar_t));
  return TRUE;
}

// The user's registry is a key of the test's own for the time of a test.
class MenusPluginTest : public testing::Test {
 protected:
  MenusPluginTest() {
    RegCreateKeyW(HKEY_CURRENT_USER, kKey, &_user);
    RegOverridePredefKey(HKEY_CURRENT_USER, _user);
    SetEnvironmentVariableW(L"VELDIR", CompanionPath(L"").c_str());
    _library = std::make_unique<CompanionLibrary>(L"Plugins\\VELMENUS.dll");
    _can_unload = _library->Get<VelDllCanUnloadNowFn>(VEL_CAN_UNLOAD_EXPORT);
    Load(L"Normal;Privacy");
  }
  ~MenusPluginTest() override {
    Destroy();
    SetEnvironmentVariableW(L"VELDIR", nullptr);
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(_user);
    RegDeleteTreeW(HKEY_CURRENT_USER, kKey);
  }

  void Load(const wchar_t* parameters) {
    _plugin = _library->Get<GetVELPluginFn>(VEL_GET_PLUGIN_EXPORT)(&_host,
                                                                   parameters);
    ASSERT_TRUE(_plugin);
  }
  bool CanUnload() {
    return WaitUntil([this] { return _can_unload() == 0; });
  }
  // Ends the plug-in as the tray does, down to the last question.
  void Destroy() {
    if (!_plugin) return;
    _plugin->destroy();
    _plugin = nullptr;
    EXPECT_TRUE(CanUnload());
  }

  // The menu as it is now.
  FakeMenu Popup() {
    FakeMenu menu;
    _plugin->on_tray_menu_popup(&menu);
    return menu;
  }
  bool IsChecked(const std::wstring& text) {
    return Popup().by_text.at(text).second;
  }
  // Clicks the item of the present menu.
  void Choose(const std::wstring& text) {
    const FakeMenu menu = Popup();
    menu.handler->on_menu_event(VEL_MENU_EVENT_CHOSEN,
                                menu.by_text.at(text).first, 0);
  }
  void ChooseSession(UINT number, const wchar_t* config) {
    const int before = _host.begun;
    Choose(Format(number, config));
    ASSERT_TRUE(WaitUntil([&] { return _host.begun == before + 1; }));
  }
  bool Broadcast(const wchar_t* name) {
    return _plugin->on_broadcast(nullptr, name, 0, 0);
  }

  // Loaded before the plug-in is, as the tray does it.
  const HMODULE _resources =
      LoadLibraryExW(CompanionPath(L"VELRCS.dll").c_str(), nullptr,
                     DONT_RESOLVE_DLL_REFERENCES);
  HKEY _user = nullptr;
  std::unique_ptr<CompanionLibrary> _library;
  VelDllCanUnloadNowFn* _can_unload = nullptr;
  FakeHost _host;
  IVelPlugin* _plugin = nullptr;
};

TEST_F(MenusPluginTest, TheMenuHasItsItemsInOrder) {
  constexpr std::uint32_t kConfigs = VEL_STRING_MENU_CONFIGURATION;
  constexpr std::uint32_t kSessions = VEL_STRING_MENU_SESSIONS;
  constexpr std::uint32_t kPlain = VEL_MENU_ITEM_PLAIN;
  constexpr std::uint32_t kStart = VEL_STRING_MENU_START_SESSION;
  const std::vector<Item> expected = {
      {0, VEL_MENU_ITEM_BOLD, Text(VEL_STRING_MENU_OPEN_BROWSER), false},
      {0, kPlain, Text(VEL_STRING_MENU_OPEN_FILE), false},
      {0, VEL_MENU_ITEM_SEPARATOR, L"-", false},
      {0, VEL_MENU_ITEM_SUBMENU, Text(kConfigs), false},
      {kConfigs, kPlain, L"Normal", true},
      {kConfigs, kPlain, L"Privacy", false},
      {0, VEL_MENU_ITEM_SUBMENU, Text(kSessions), false},
      {kSessions, VEL_MENU_ITEM_LABEL, Text(VEL_STRING_MENU_NO_SESSIONS),
       false},
      {kSessions, kPlain, Format(kStart, L"Normal"), false},
      {kSessions, kPlain, Format(kStart, L"Privacy"), false},
      {0, VEL_MENU_ITEM_SEPARATOR, L"-", false},
      {0, kPlain, Text(VEL_STRING_MENU_START_WITH_WINDOWS), true},
      {0, kPlain, Text(VEL_STRING_MENU_CONFIGURE), false},
      {0, kPlain, Text(VEL_STRING_MENU_ABOUT), false},
  };
  EXPECT_TRUE(Popup().items == expected);
}

TEST_F(MenusPluginTest, SettingsAreKeptCheckedAndTold) {
  const std::wstring automatic = Text(VEL_STRING_MENU_START_WITH_WINDOWS);
  Choose(L"Privacy");
  EXPECT_FALSE(IsChecked(L"Normal"));
  EXPECT_TRUE(IsChecked(L"Privacy"));
  Choose(automatic);
  EXPECT_FALSE(IsChecked(automatic));
  Choose(automatic);
  EXPECT_TRUE(IsChecked(automatic));
  EXPECT_EQ(_host.posted, std::vector<std::wstring>(3, L"ui_settings_changed"));
  // One that the list no longer has doesn't count.
  Destroy();
  Load(L" Work & play ;;Normal;");
  EXPECT_TRUE(IsChecked(L"Work && play"));
}

TEST_F(MenusPluginTest, OpenBrowserSendsARunCommandAndTellsARefusal) {
  constexpr wchar_t kConfig[] = L"with \"quotes\", BEL \a and \a2";
  Destroy();
  Load(kConfig);
  WNDCLASSW window_class = {};
  window_class.lpfnWndProc = &TrayProcedure;
  window_class.lpszClassName = VEL_TRAY_WINDOW_CLASS;
  RegisterClassW(&window_class);
  const HWND tray =
      CreateWindowExW(0, VEL_TRAY_WINDOW_CLASS, L"", WS_POPUP, 0, 0, 0, 0,
                      nullptr, nullptr, nullptr, nullptr);
  const std::wstring page = Text(VEL_STRING_START_PAGE);
  Choose(Text(VEL_STRING_MENU_OPEN_BROWSER));
  EXPECT_TRUE(WaitUntil([] { return sent_command == VELGUI_IPC_RUNCMD; }));
  EXPECT_EQ(get_param(sent_text, L"shex_cfg", true), kConfig);
  EXPECT_EQ(get_param(sent_text, L"shex_file", true), page);
  DestroyWindow(tray);
  Choose(Text(VEL_STRING_MENU_OPEN_BROWSER));
  EXPECT_TRUE(IsShown(Format(VEL_STRING_OPEN_FAILED, page.c_str())));
}

TEST_F(MenusPluginTest, SessionsCountInHintAndMenu) {
  EXPECT_EQ(_host.hint, Text(VEL_STRING_HINT_NO_SESSION));
  // Sessions are only told apart by their pointers, never called.
  IVelSession* const first = reinterpret_cast<IVelSession*>(16);
  _plugin->on_session_startup(first, L"normal");
  _plugin->on_session_startup(nullptr, L"Foreign");
  EXPECT_EQ(_host.hint, Format(VEL_STRING_HINT_SESSIONS, 2u));
  EXPECT_TRUE(IsChecked(Format(VEL_STRING_MENU_END_SESSION, L"Normal")));
  EXPECT_TRUE(IsChecked(Format(VEL_STRING_MENU_END_SESSION, L"Foreign")));
  EXPECT_FALSE(IsChecked(Format(VEL_STRING_MENU_START_SESSION, L"Privacy")));
  _plugin->on_session_shutdown(first);
  EXPECT_EQ(_host.hint, Format(VEL_STRING_HINT_SESSIONS, 1u));

  ChooseSession(VEL_STRING_MENU_START_SESSION, L"Privacy");
  EXPECT_EQ(_host.last_call, L"need_session Privacy");
  ChooseSession(VEL_STRING_MENU_END_SESSION, L"Foreign");
  EXPECT_EQ(_host.last_call, L"close_session Foreign");
}

TEST_F(MenusPluginTest, OnlyARealFailureToStartIsTold) {
  for (const std::uint32_t status :
       {VEL_STATUS_OK, VEL_STATUS_SESSION_ACTIVE, VEL_STATUS_SHUTTING_DOWN}) {
    _host.result = status;
    ChooseSession(VEL_STRING_MENU_START_SESSION, L"Normal");
    EXPECT_TRUE(CanUnload());
    EXPECT_FALSE(OpenDialog());
  }
  _host.result = VEL_STATUS_OUT_OF_MEMORY;
  ChooseSession(VEL_STRING_MENU_START_SESSION, L"Normal");
  EXPECT_TRUE(IsShown(Format(VEL_STRING_SESSION_FAILED, L"Normal",
                             std::uint32_t{VEL_STATUS_OUT_OF_MEMORY})));
}

TEST_F(MenusPluginTest, DialogsHoldTheLibraryAndCloseWithThePlugin) {
  for (const wchar_t* name :
       {L"VELSVC_INITIALIZED", L"has_interactive_apps", L"velmenus_about"}) {
    EXPECT_FALSE(Broadcast(name));
  }
  EXPECT_EQ(_can_unload(), 0);
  EXPECT_TRUE(Broadcast(vel_broadcast::kAbout));
  EXPECT_TRUE(
      IsShown(Format(VEL_STRING_ABOUT_TEXT, L"Brindlemar", L"1.0.0.0")));
  // Once only.
  EXPECT_TRUE(Broadcast(vel_broadcast::kAbout));
  EXPECT_EQ(_can_unload(), 1);
  Choose(Text(VEL_STRING_MENU_OPEN_FILE));
  EXPECT_EQ(_can_unload(), 2);
  Destroy();
  EXPECT_FALSE(OpenDialog());
  _library.reset();
  EXPECT_TRUE(
      WaitUntil([] { return GetModuleHandleW(L"VELMENUS.dll") == nullptr; }));
}

TEST_F(MenusPluginTest, ConfigureSavesOnlyAtOk) {
  // The dialog has to find the chosen one behind a longer name.
  Destroy();
  Load(L"Normals;Normal;Privacy");
  Choose(L"Normal");
  for (const WPARAM last_key : {VK_ESCAPE, VK_RETURN}) {
    EXPECT_TRUE(Broadcast(vel_broadcast::kConfigure));
    const HWND dialog = WaitForDialog();
    const HWND list = FindWindowExW(dialog, nullptr, L"ComboBox", nullptr);
    const HWND check =
        FindWindowExW(dialog, nullptr, L"Button",
                      Text(VEL_STRING_MENU_START_WITH_WINDOWS).c_str());
    ASSERT_TRUE(list && check);
    PostMessageW(list, WM_KEYDOWN, VK_DOWN, 0);
    PostMessageW(check, WM_KEYDOWN, VK_SPACE, 0);
    PostMessageW(check, WM_KEYUP, VK_SPACE, 0);
    PostMessageW(check, WM_KEYDOWN, last_key, 0);
    ASSERT_TRUE(CanUnload());
    const bool saved = last_key == VK_RETURN;
    EXPECT_EQ(IsChecked(L"Privacy"), saved);
    EXPECT_NE(IsChecked(Text(VEL_STRING_MENU_START_WITH_WINDOWS)), saved);
    EXPECT_EQ(_host.posted.size(), saved ? 2u : 1u);
  }
}

TEST_F(MenusPluginTest, DestroyWaitsForACallToTheHost) {
  _host.pause = 100;
  ChooseSession(VEL_STRING_MENU_START_SESSION, L"Normal");
  Destroy();
  EXPECT_EQ(_host.ended, 1);
}

}  // namespace
}  // namespace vel::test
