// The menus plug-in in the hands of a host that notes what it is asked for.
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "companions/CompanionLibrary.h"
#include "companions/FakeTray.h"
#include "vel/GuiIpc.h"
#include "vel/StringIds.h"

namespace vel::test {
namespace {

constexpr wchar_t kKey[] = L"Software\\Tessavane\\VEL";

// A registry value that the plug-in's code fixes the place of: absent in the
// test, and as it was afterwards.
class SavedValue {
 public:
  explicit SavedValue(const wchar_t* name) : _name(name) {
    _size = sizeof _data;
    _existed = RegGetValueW(HKEY_CURRENT_USER, kKey, name, RRF_RT_ANY, &_type,
                            _data, &_size) == ERROR_SUCCESS;
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, name);
  }
  ~SavedValue() {
    if (_existed) {
      RegSetKeyValueW(HKEY_CURRENT_USER, kKey, _name, _type, _data, _size);
    } else {
      RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, _name);
    }
  }

 private:
  const wchar_t* _name;
  bool _existed;
  DWORD _type = 0;
  unsigned char _data[512];
  DWORD _size;
};

// The visible dialogs of this process.
std::vector<HWND> OpenDialogs() {
  std::vector<HWND> dialogs;
  HWND window = nullptr;
  while ((window = FindWindowExW(nullptr, window, L"#32770", nullptr))) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == GetCurrentProcessId() && IsWindowVisible(window)) {
      dialogs.push_back(window);
    }
  }
  return dialogs;
}

HWND WaitForDialog() {
  HWND dialog = nullptr;
  WaitUntil([&dialog] {
    const std::vector<HWND> dialogs = OpenDialogs();
    if (!dialogs.empty()) dialog = dialogs[0];
    return dialog != nullptr;
  });
  EXPECT_TRUE(dialog) << "no dialog came up";
  return dialog;
}

std::wstring TextIn(HWND dialog, int control) {
  wchar_t text[512] = L"";
  GetDlgItemTextW(dialog, control, text, 512);
  return text;
}

// The text of a message box, whichever number its control has.
std::wstring MessageIn(HWND box) {
  std::wstring message;
  HWND control = nullptr;
  while ((control = FindWindowExW(box, control, L"Static", nullptr))) {
    wchar_t text[512] = L"";
    GetWindowTextW(control, text, 512);
    message += text;
  }
  return message;
}

class MenusPluginTest : public testing::Test {
 protected:
  MenusPluginTest()
      : _configuration(L"MenuConfiguration"), _auto_start(L"AutoStart") {
    SetEnvironmentVariableW(L"VELDIR", CompanionsDirectory().c_str());
    _library = std::make_unique<CompanionLibrary>(L"Plugins\\VELMENUS.dll");
    _can_unload = _library->Get<VelDllCanUnloadNowFn>(VEL_CAN_UNLOAD_EXPORT);
    Load();
  }
  ~MenusPluginTest() override {
    Destroy();
    SetEnvironmentVariableW(L"VELDIR", nullptr);
  }

  void Load(const wchar_t* parameters = L"Normal;Privacy") {
    _plugin = _library->Get<GetVELPluginFn>(VEL_GET_PLUGIN_EXPORT)(&_host,
                                                                   parameters);
    ASSERT_TRUE(_plugin);
  }

  // Ends the plug-in as the tray does, down to the last question.
  void Destroy() {
    if (!_plugin) return;
    _plugin->destroy();
    _plugin = nullptr;
    EXPECT_TRUE(WaitUntil([this] { return _can_unload() == 0; }));
  }

  // The menu as it is now.
  const FakeMenu& Popup() {
    _menu.items.clear();
    _plugin->on_tray_menu_popup(&_menu);
    return _menu;
  }
  // Clicks the item of the present menu.
  void Choose(const std::wstring& text) { Popup().Choose(text); }

  bool Broadcast(const wchar_t* name) {
    return _plugin->on_broadcast(nullptr, name, 0, 0);
  }

  static std::wstring Text(UINT number) {
    wchar_t text[512] = L"";
    const HMODULE resources = GetModuleHandleW(L"VELRCS.dll");
    EXPECT_TRUE(resources);
    LoadStringW(resources, number, text, 512);
    return text;
  }
  static std::wstring Format(UINT number, const wchar_t* argument) {
    wchar_t text[512] = L"";
    _snwprintf(text, 511, Text(number).c_str(), argument);
    return text;
  }
  static std::wstring HintFor(unsigned sessions) {
    wchar_t text[512] = L"";
    _snwprintf(text, 511, Text(VEL_STRING_HINT_SESSIONS).c_str(), sessions);
    return text;
  }

  const SavedValue _configuration;
  const SavedValue _auto_start;
  // Loaded before the plug-in is, as the tray does it.
  const HMODULE _resources =
      LoadLibraryExW((CompanionsDirectory() + L"\\VELRCS.dll").c_str(), nullptr,
                     DONT_RESOLVE_DLL_REFERENCES);
  std::unique_ptr<CompanionLibrary> _library;
  VelDllCanUnloadNowFn* _can_unload = nullptr;
  FakeHost _host;
  FakeMenu _menu;
  IVelPlugin* _plugin = nullptr;
};

TEST_F(MenusPluginTest, TheMenuHasItsItemsInOrder) {
  const struct {
    std::uint32_t parent;
    std::uint32_t type;
    std::wstring text;
    bool flag;
  } expected[] = {
      {0, VEL_MENU_ITEM_BOLD, Text(VEL_STRING_MENU_OPEN_BROWSER), false},
      {0, VEL_MENU_ITEM_PLAIN, Text(VEL_STRING_MENU_OPEN_FILE), false},
      {0, VEL_MENU_ITEM_SEPARATOR, L"-", false},
      {0, VEL_MENU_ITEM_SUBMENU, Text(VEL_STRING_MENU_CONFIGURATION), false},
      {VEL_STRING_MENU_CONFIGURATION, VEL_MENU_ITEM_PLAIN, L"Normal", true},
      {VEL_STRING_MENU_CONFIGURATION, VEL_MENU_ITEM_PLAIN, L"Privacy", false},
      {0, VEL_MENU_ITEM_SUBMENU, Text(VEL_STRING_MENU_SESSIONS), false},
      {VEL_STRING_MENU_SESSIONS, VEL_MENU_ITEM_LABEL,
       Text(VEL_STRING_MENU_NO_SESSIONS), false},
      {VEL_STRING_MENU_SESSIONS, VEL_MENU_ITEM_PLAIN,
       Format(VEL_STRING_MENU_START_SESSION, L"Normal"), false},
      {VEL_STRING_MENU_SESSIONS, VEL_MENU_ITEM_PLAIN,
       Format(VEL_STRING_MENU_START_SESSION, L"Privacy"), false},
      {0, VEL_MENU_ITEM_SEPARATOR, L"-", false},
      {0, VEL_MENU_ITEM_PLAIN, Text(VEL_STRING_MENU_START_WITH_WINDOWS), true},
      {0, VEL_MENU_ITEM_PLAIN, Text(VEL_STRING_MENU_CONFIGURE), false},
      {0, VEL_MENU_ITEM_PLAIN, Text(VEL_STRING_MENU_ABOUT), false},
  };
  const std::vector<FakeMenu::Item>& items = Popup().items;
  ASSERT_EQ(items.size(), std::size(expected));
  for (std::size_t index = 0; index < items.size(); ++index) {
    EXPECT_EQ(items[index].text, expected[index].text) << index;
    EXPECT_EQ(items[index].parent, expected[index].parent) << index;
    EXPECT_EQ(items[index].type, expected[index].type) << index;
    EXPECT_EQ(items[index].flag, expected[index].flag) << index;
  }
}

TEST_F(MenusPluginTest, TheChosenConfigurationIsKeptAndChecked) {
  Choose(L"Privacy");
  EXPECT_FALSE(Popup().Find(L"Normal").flag);
  EXPECT_TRUE(Popup().Find(L"Privacy").flag);
  EXPECT_EQ(_host.posted, std::vector<std::wstring>{L"ui_settings_changed"});

  // One that the list no longer has doesn't count.
  Destroy();
  Load(L"Work & play;Normal");
  EXPECT_TRUE(Popup().Find(L"Work && play").flag);
}

TEST_F(MenusPluginTest, StartWithWindowsSwitchesItsValue) {
  const std::wstring item = Text(VEL_STRING_MENU_START_WITH_WINDOWS);
  for (const DWORD expected : {0u, 1u}) {
    Choose(item);
    DWORD value = 2;
    DWORD size = sizeof value;
    EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, kKey, L"AutoStart",
                           RRF_RT_REG_DWORD, nullptr, &value, &size),
              ERROR_SUCCESS);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(Popup().Find(item).flag, expected != 0);
  }
}

TEST_F(MenusPluginTest, OpenBrowserSendsARunCommandFromAnotherThread) {
  FakeTrayWindow tray;
  Choose(L"Privacy");
  Choose(Text(VEL_STRING_MENU_OPEN_BROWSER));
  ASSERT_TRUE(WaitUntil([&tray] { return tray.received() == 1; }));
  EXPECT_EQ(tray.command(), std::uint32_t{VELGUI_IPC_RUNCMD});
  EXPECT_EQ(tray.text(), L"/shex_cfg=\"Privacy\" /shex_file=\"" +
                             Text(VEL_STRING_START_PAGE) + L"\"");
}

TEST_F(MenusPluginTest, WhatTheTrayRefusesIsToldToTheUser) {
  Choose(Text(VEL_STRING_MENU_OPEN_BROWSER));
  const HWND box = WaitForDialog();
  EXPECT_EQ(MessageIn(box), Format(VEL_STRING_OPEN_FAILED,
                                   Text(VEL_STRING_START_PAGE).c_str()));
  EXPECT_NE(_can_unload(), 0);
}

TEST_F(MenusPluginTest, SessionsCountInHintAndMenu) {
  EXPECT_EQ(_host.hint, Text(VEL_STRING_HINT_NO_SESSION));
  // Sessions are only told apart by their pointers, never called.
  const auto session = [](std::uintptr_t number) {
    return reinterpret_cast<IVelSession*>(number * 16);
  };
  _plugin->on_session_startup(session(1), L"normal");
  _plugin->on_session_startup(session(2), L"Foreign");
  EXPECT_EQ(_host.hint, HintFor(2));
  const FakeMenu& menu = Popup();
  EXPECT_TRUE(menu.Find(Format(VEL_STRING_MENU_END_SESSION, L"Normal")).flag);
  EXPECT_TRUE(menu.Find(Format(VEL_STRING_MENU_END_SESSION, L"Foreign")).flag);
  EXPECT_FALSE(
      menu.Find(Format(VEL_STRING_MENU_START_SESSION, L"Privacy")).flag);
  _plugin->on_session_shutdown(session(1));
  EXPECT_EQ(_host.hint, HintFor(1));
  EXPECT_TRUE(_plugin->query_session_shutdown(session(2), 0));
}

TEST_F(MenusPluginTest, SessionsAreStartedAndEndedOffTheWindowThread) {
  Choose(Format(VEL_STRING_MENU_START_SESSION, L"Privacy"));
  ASSERT_TRUE(WaitUntil([this] { return _host.calls == 1; }));
  EXPECT_EQ(_host.last_call, L"need_session Privacy");
  EXPECT_NE(_host.last_thread, GetCurrentThreadId());

  _plugin->on_session_startup(nullptr, L"Privacy");
  Choose(Format(VEL_STRING_MENU_END_SESSION, L"Privacy"));
  ASSERT_TRUE(WaitUntil([this] { return _host.calls == 2; }));
  EXPECT_EQ(_host.last_call, L"close_session Privacy 0");
}

TEST_F(MenusPluginTest, OnlyARealFailureToStartIsTold) {
  for (const std::uint32_t status :
       {VEL_STATUS_OK, VEL_STATUS_SESSION_ACTIVE, VEL_STATUS_SHUTTING_DOWN}) {
    _host.result = status;
    const int before = _host.calls;
    Choose(Format(VEL_STRING_MENU_START_SESSION, L"Normal"));
    EXPECT_TRUE(WaitUntil(
        [&] { return _host.calls == before + 1 && _can_unload() == 0; }));
    EXPECT_TRUE(OpenDialogs().empty());
  }
  _host.result = VEL_STATUS_OUT_OF_MEMORY;
  Choose(Format(VEL_STRING_MENU_START_SESSION, L"Normal"));
  EXPECT_NE(MessageIn(WaitForDialog()).find(L"8007000e"), std::wstring::npos);
}

TEST_F(MenusPluginTest, OnlyItsOwnBroadcastsEndHere) {
  for (const wchar_t* name :
       {L"VELSVC_INITIALIZED", L"VELGUI_INITIALIZED", L"update_check_version",
        L"flush_session", L"restore_alerts_settings", L"ui_settings_changed",
        L"get_version_info", L"update_get_status", L"has_interactive_apps",
        L"set_url_mode_policy", L"update_enum_updates", L"velmenus_about"}) {
    EXPECT_FALSE(Broadcast(name));
  }
  EXPECT_TRUE(OpenDialogs().empty());
}

TEST_F(MenusPluginTest, AboutOpensOnceAndClosesWithThePlugin) {
  EXPECT_EQ(_can_unload(), 0);
  EXPECT_TRUE(Broadcast(vel_broadcast::kAbout));
  const HWND box = WaitForDialog();
  EXPECT_NE(MessageIn(box).find(L"1.0.0.0"), std::wstring::npos);
  EXPECT_TRUE(Broadcast(vel_broadcast::kAbout));
  EXPECT_EQ(_can_unload(), 1);
  EXPECT_EQ(OpenDialogs(), std::vector<HWND>{box});
  Destroy();
  EXPECT_TRUE(OpenDialogs().empty());
}

TEST_F(MenusPluginTest, AnOpenFileDialogClosesWithThePlugin) {
  Choose(Text(VEL_STRING_MENU_OPEN_FILE));
  WaitForDialog();
  EXPECT_EQ(_can_unload(), 1);
  Destroy();
}

TEST_F(MenusPluginTest, ConfigureSavesByTheKeyboard) {
  EXPECT_TRUE(Broadcast(vel_broadcast::kConfigure));
  const HWND dialog = WaitForDialog();
  EXPECT_EQ(TextIn(dialog, IDOK), Text(VEL_STRING_OK));
  const HWND list = FindWindowExW(dialog, nullptr, L"ComboBox", nullptr);
  const HWND check =
      FindWindowExW(dialog, nullptr, L"Button",
                    Text(VEL_STRING_MENU_START_WITH_WINDOWS).c_str());
  ASSERT_TRUE(list && check);
  PostMessageW(list, WM_KEYDOWN, VK_DOWN, 0);
  PostMessageW(check, WM_KEYDOWN, VK_SPACE, 0);
  PostMessageW(check, WM_KEYUP, VK_SPACE, 0);
  PostMessageW(check, WM_KEYDOWN, VK_RETURN, 0);
  ASSERT_TRUE(WaitUntil([this] { return _can_unload() == 0; }));
  EXPECT_TRUE(Popup().Find(L"Privacy").flag);
  EXPECT_FALSE(Popup().Find(Text(VEL_STRING_MENU_START_WITH_WINDOWS)).flag);
  EXPECT_EQ(_host.posted, std::vector<std::wstring>{L"ui_settings_changed"});
}

TEST_F(MenusPluginTest, ConfigureCancelledSavesNothing) {
  Choose(Text(VEL_STRING_MENU_CONFIGURE));
  const HWND dialog = WaitForDialog();
  const HWND list = FindWindowExW(dialog, nullptr, L"ComboBox", nullptr);
  PostMessageW(list, WM_KEYDOWN, VK_DOWN, 0);
  PostMessageW(list, WM_KEYDOWN, VK_ESCAPE, 0);
  ASSERT_TRUE(WaitUntil([this] { return _can_unload() == 0; }));
  EXPECT_TRUE(Popup().Find(L"Normal").flag);
  EXPECT_TRUE(_host.posted.empty());
}

TEST_F(MenusPluginTest, DestroyWaitsForACallToTheHost) {
  _host.blocks = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  Choose(Format(VEL_STRING_MENU_START_SESSION, L"Normal"));
  ASSERT_TRUE(WaitUntil([this] { return _host.calls == 1; }));
  std::atomic<bool> destroyed = false;
  std::thread main([this, &destroyed] {
    Destroy();
    destroyed = true;
  });
  // Time for a destroy that doesn't wait to get through.
  Sleep(50);
  EXPECT_FALSE(destroyed);
  SetEvent(_host.blocks);
  main.join();
  CloseHandle(_host.blocks);
}

TEST_F(MenusPluginTest, TheLibraryGoesFromMemoryAfterItsWork) {
  EXPECT_TRUE(Broadcast(vel_broadcast::kAbout));
  WaitForDialog();
  Destroy();
  _library.reset();
  EXPECT_TRUE(
      WaitUntil([] { return GetModuleHandleW(L"VELMENUS.dll") == nullptr; }));
}

}  // namespace
}  // namespace vel::test
