// The popup menu of the dialog library, shown for real.
#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

#include "companions/CompanionLibrary.h"
#include "vel/IVelDialogFactory.h"

namespace vel::test {
namespace {

HWND OpenMenuWindow() {
  const HWND window = FindWindowW(L"#32768", nullptr);
  return window && IsWindowVisible(window) ? window : nullptr;
}

// Notes the choices, and clears the menu as a handler may.
struct Recorder final : IVelMenuItemHandler {
  void on_menu_event(std::uint32_t, std::uint32_t id, std::uintptr_t) override {
    EXPECT_FALSE(OpenMenuWindow()) << "the choice comes before the menu closes";
    choices += std::to_string(id) + " ";
    menu->clear_items();
  }

  IVelPopupMenu* menu = nullptr;
  std::string choices;
};

TEST(PopupMenuTest, TheKeyboardAndTheDefaultReachTheItems) {
  const CompanionLibrary library(L"VELDLG.dll");
  const auto factory = library.Get<VelDlg_FactoryFn>(VEL_DIALOG_FACTORY_EXPORT);
  EXPECT_FALSE(factory(VEL_DIALOG_INTERFACE_VERSION + 1));
  Recorder user;
  user.menu = factory(VEL_DIALOG_INTERFACE_VERSION)->create_menu();
  const HWND owner =
      CreateWindowW(L"STATIC", L"", WS_POPUP | WS_VISIBLE, -1, -1, 0, 0,
                    nullptr, nullptr, nullptr, nullptr);
  // First is in a submenu, and what names no parent is in the menu itself.
  for (const WPARAM last_key : {VK_RIGHT, VK_DOWN}) {
    user.menu->add_item(0, VEL_MENU_ITEM_SUBMENU, 20, L"More", &user, false);
    user.menu->add_item(20, VEL_MENU_ITEM_PLAIN, 0, L"First", &user, true);
    user.menu->add_item(99, VEL_MENU_ITEM_BOLD, 7, L"<b>2nd</b>", &user, false);
    user.menu->add_item(0, VEL_MENU_ITEM_BOLD, 8, L"<b>3rd</b>", &user, false);
    std::thread keyboard([&] {
      for (int i = 0; i < 1000 && !OpenMenuWindow(); ++i) Sleep(20);
      for (const WPARAM key : {WPARAM{VK_DOWN}, last_key, WPARAM{VK_RETURN}}) {
        PostMessageW(owner, WM_KEYDOWN, key, 0);
        Sleep(50);
      }
    });
    const POINT point = {50, 50};
    user.menu->show_at(&point, owner);
    keyboard.join();
  }
  user.menu->add_item(0, VEL_MENU_ITEM_PLAIN, 1, L"plain", &user, false);
  user.menu->run_default(VEL_MENU_ITEM_BOLD);
  user.menu->add_item(0, VEL_MENU_ITEM_BOLD, 2, L"first", &user, false);
  user.menu->add_item(0, VEL_MENU_ITEM_BOLD, 3, L"second", &user, false);
  user.menu->run_default(VEL_MENU_ITEM_BOLD);
  user.menu->run_default(VEL_MENU_ITEM_BOLD);
  EXPECT_EQ(user.choices, "0 7 2 ");
  DestroyWindow(owner);
  user.menu->release();
}

}  // namespace
}  // namespace vel::test
