// The popup menu of the dialog library, shown for real: a second thread looks
// at the native menu and types into it.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <thread>
#include <vector>

#include "companions/CompanionLibrary.h"
#include "vel/IVelDialogFactory.h"

#ifndef MN_GETHMENU
#define MN_GETHMENU 0x01E1
#endif

namespace vel::test {
namespace {

using Ids = std::vector<std::uint32_t>;

HWND OpenMenuWindow() {
  const HWND window = FindWindowW(L"#32768", nullptr);
  return window && IsWindowVisible(window) ? window : nullptr;
}

// Notes the choices, which come when the menu has closed.
class Recorder final : public IVelMenuItemHandler {
 public:
  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t) override {
    EXPECT_EQ(event, VEL_MENU_EVENT_CHOSEN);
    EXPECT_FALSE(OpenMenuWindow());
    choices.push_back(id);
    if (clears) clears->clear_items();
  }

  Ids choices;
  IVelPopupMenu* clears = nullptr;
};

// An item of a native menu as "text" with what is set beside it.
std::wstring Describe(HMENU menu, UINT position) {
  wchar_t text[128] = L"";
  MENUITEMINFOW info = {};
  info.cbSize = sizeof info;
  info.fMask = MIIM_FTYPE | MIIM_STATE | MIIM_SUBMENU | MIIM_STRING;
  info.dwTypeData = text;
  info.cch = 128;
  GetMenuItemInfoW(menu, position, TRUE, &info);
  if (info.fType & MFT_SEPARATOR) return L"-";
  std::wstring result = text;
  if (info.fState & MFS_DEFAULT) result += L" bold";
  if (info.fState & MFS_DISABLED) result += L" disabled";
  if (info.fState & MFS_CHECKED) result += L" checked";
  if (info.hSubMenu) result += L" > " + Describe(info.hSubMenu, 0);
  return result;
}

class PopupMenuTest : public testing::Test {
 protected:
  PopupMenuTest()
      : _library(L"VELDLG.dll"),
        _factory(_library.Get<VelDlg_FactoryFn>(VEL_DIALOG_FACTORY_EXPORT)),
        _menu(_factory(VEL_DIALOG_INTERFACE_VERSION)->create_menu()),
        _owner(CreateWindowW(L"STATIC", L"", WS_POPUP | WS_VISIBLE, -1, -1, 0,
                             0, nullptr, nullptr, nullptr, nullptr)) {}
  ~PopupMenuTest() override {
    DestroyWindow(_owner);
    _menu->release();
  }

  void Add(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
           const wchar_t* text, bool flag = false) {
    _menu->add_item(parent, type, id, text, &_handler, flag);
  }

  // Shows the menu, and once it is open types the keys, and Escape until it has
  // closed. Gives what its items were.
  std::vector<std::wstring> Show(const std::vector<WPARAM>& keys) {
    std::vector<std::wstring> items;
    std::thread user([&] {
      for (int i = 0; i < 1000 && !OpenMenuWindow(); ++i) Sleep(20);
      const auto menu = reinterpret_cast<HMENU>(
          SendMessageW(OpenMenuWindow(), MN_GETHMENU, 0, 0));
      for (int i = 0; i < GetMenuItemCount(menu); ++i) {
        items.push_back(Describe(menu, static_cast<UINT>(i)));
      }
      for (const WPARAM key : keys) Type(key);
      while (OpenMenuWindow()) Type(VK_ESCAPE);
    });
    const POINT point = {50, 50};
    _menu->show_at(&point, _owner);
    user.join();
    return items;
  }
  void Type(WPARAM key) {
    PostMessageW(_owner, WM_KEYDOWN, key, 0);
    PostMessageW(_owner, WM_KEYUP, key, 0);
    Sleep(50);
  }

  CompanionLibrary _library;
  VelDlg_FactoryFn* _factory;
  IVelPopupMenu* _menu;
  HWND _owner;
  Recorder _handler;
};

TEST_F(PopupMenuTest, TheMenuShowsWhatWasAddedAndTheKeyboardReachesIt) {
  EXPECT_FALSE(_factory(0));
  EXPECT_FALSE(_factory(2));
  Add(0, VEL_MENU_ITEM_BOLD, 10, L"<b>&Open</b>");
  Add(0, VEL_MENU_ITEM_SEPARATOR, 0, L"-");
  Add(0, VEL_MENU_ITEM_SUBMENU, 20, L"&More");
  Add(20, VEL_MENU_ITEM_PLAIN, 0, L"&First", true);
  Add(20, VEL_MENU_ITEM_PLAIN, 7, L"&Second");
  Add(0, VEL_MENU_ITEM_LABEL, 30, L"Nothing");
  Add(99, VEL_MENU_ITEM_PLAIN, 7, L"Of no parent");
  const std::vector<std::wstring> expected = {
      L"&Open bold", L"-", L"&More > &First checked", L"Nothing disabled",
      L"Of no parent"};
  const struct {
    std::vector<WPARAM> keys;
    Ids chosen;
  } cases[] = {
      {{VK_DOWN, VK_RETURN}, {10}},
      {{VK_DOWN, VK_DOWN, VK_RIGHT, VK_RETURN}, {0}},
      {{VK_DOWN, VK_DOWN, VK_RIGHT, VK_DOWN, VK_RETURN}, {7}},
      {{VK_UP, VK_RETURN}, {7}},
      {{VK_DOWN, VK_ESCAPE}, {}},
  };
  for (const auto& each : cases) {
    _handler.choices.clear();
    EXPECT_EQ(Show(each.keys), expected);
    EXPECT_EQ(_handler.choices, each.chosen);
  }
}

TEST_F(PopupMenuTest, TheDefaultIsTheFirstItemOfItsType) {
  Add(0, VEL_MENU_ITEM_PLAIN, 1, L"plain");
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  EXPECT_TRUE(_handler.choices.empty());
  Add(0, VEL_MENU_ITEM_BOLD, 2, L"<b>first</b>");
  Add(0, VEL_MENU_ITEM_BOLD, 3, L"<b>second</b>");
  // A handler may clear the menu.
  _handler.clears = _menu;
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  EXPECT_EQ(_handler.choices, Ids{2});
}

}  // namespace
}  // namespace vel::test
