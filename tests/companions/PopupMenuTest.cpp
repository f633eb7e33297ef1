// The popup menu of the dialog library, shown for real: a second thread looks
// at the native menu and types into it.
#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
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

constexpr DWORD kPatience = 20000;

struct Choice {
  std::uint32_t event;
  std::uint32_t id;
  std::uintptr_t param;
  bool menu_open;

  bool operator==(const Choice&) const = default;
};

HWND OpenMenuWindow() {
  return FindWindowW(L"#32768", nullptr);
}

class Recorder final : public IVelMenuItemHandler {
 public:
  void on_menu_event(std::uint32_t event, std::uint32_t id,
                     std::uintptr_t param) override {
    const HWND menu = OpenMenuWindow();
    choices.push_back({event, id, param, menu && IsWindowVisible(menu)});
    if (clears) clears->clear_items();
  }

  std::vector<Choice> choices;
  IVelPopupMenu* clears = nullptr;
};

std::wstring TextOf(HMENU menu, UINT position) {
  wchar_t text[128] = L"";
  GetMenuStringW(menu, position, text, 128, MF_BYPOSITION);
  return text;
}

MENUITEMINFOW InfoOf(HMENU menu, UINT position) {
  MENUITEMINFOW info = {};
  info.cbSize = sizeof info;
  info.fMask = MIIM_FTYPE | MIIM_STATE | MIIM_SUBMENU;
  GetMenuItemInfoW(menu, position, TRUE, &info);
  return info;
}

class PopupMenuTest : public testing::Test {
 protected:
  PopupMenuTest()
      : _library(L"VELDLG.dll"),
        _menu(_library
                  .Get<VelDlg_FactoryFn>(VEL_DIALOG_FACTORY_EXPORT)(
                      VEL_DIALOG_INTERFACE_VERSION)
                  ->create_menu()),
        _owner(CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", L"",
                               WS_POPUP | WS_VISIBLE, -1, -1, 0, 0, nullptr,
                               nullptr, nullptr, nullptr)) {}
  ~PopupMenuTest() override {
    DestroyWindow(_owner);
    _menu->release();
  }

  void Add(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
           const wchar_t* text, bool flag = false) {
    _menu->add_item(parent, type, id, text, &_handler, flag);
  }

  // Shows the menu, looks at it with `look` once it is open, then types the
  // keys, and Escape until it has closed.
  void Show(const std::function<void(HMENU)>& look,
            const std::vector<WPARAM>& keys) {
    bool seen = false;
    std::thread user([&] {
      const HMENU menu = WaitForMenu();
      if (!menu) return;
      seen = true;
      look(menu);
      for (const WPARAM key : keys) Type(key);
      while (OpenMenuWindow() && IsWindowVisible(OpenMenuWindow())) {
        Type(VK_ESCAPE);
        Sleep(50);
      }
    });
    const POINT point = {50, 50};
    _menu->show_at(&point, _owner);
    user.join();
    ASSERT_TRUE(seen) << "no menu came up";
  }

  static HMENU WaitForMenu() {
    for (DWORD waited = 0; waited < kPatience; waited += 20) {
      const HWND window = OpenMenuWindow();
      if (window && IsWindowVisible(window)) {
        return reinterpret_cast<HMENU>(SendMessageW(window, MN_GETHMENU, 0, 0));
      }
      Sleep(20);
    }
    return nullptr;
  }

  void Type(WPARAM key) {
    PostMessageW(_owner, WM_KEYDOWN, key, 0);
    PostMessageW(_owner, WM_KEYUP, key, 0);
    Sleep(50);
  }

  CompanionLibrary _library;
  IVelPopupMenu* _menu;
  HWND _owner;
  Recorder _handler;
};

const Choice kNoChoice = {};

Choice Chosen(std::uint32_t id) {
  return {VEL_MENU_EVENT_CHOSEN, id, 0, false};
}

TEST_F(PopupMenuTest, TheFactoryKnowsOneVersion) {
  const auto factory =
      _library.Get<VelDlg_FactoryFn>(VEL_DIALOG_FACTORY_EXPORT);
  EXPECT_TRUE(factory(1));
  EXPECT_FALSE(factory(0));
  EXPECT_FALSE(factory(2));
}

TEST_F(PopupMenuTest, TheNativeMenuShowsWhatWasAdded) {
  Add(0, VEL_MENU_ITEM_BOLD, 10, L"<b>&Open</b>");
  Add(0, VEL_MENU_ITEM_SEPARATOR, 0, L"-");
  Add(0, VEL_MENU_ITEM_SUBMENU, 20, L"&More");
  Add(20, VEL_MENU_ITEM_PLAIN, 21, L"In&ner", true);
  Add(0, VEL_MENU_ITEM_LABEL, 30, L"Nothing");
  Add(99, VEL_MENU_ITEM_PLAIN, 40, L"Of no parent");
  Show(
      [](HMENU menu) {
        ASSERT_EQ(GetMenuItemCount(menu), 5);
        EXPECT_EQ(TextOf(menu, 0), L"&Open");
        EXPECT_TRUE(InfoOf(menu, 0).fState & MFS_DEFAULT);
        EXPECT_TRUE(InfoOf(menu, 1).fType & MFT_SEPARATOR);
        EXPECT_EQ(TextOf(menu, 3), L"Nothing");
        EXPECT_TRUE(InfoOf(menu, 3).fState & MFS_DISABLED);
        EXPECT_EQ(TextOf(menu, 4), L"Of no parent");
        const HMENU more = InfoOf(menu, 2).hSubMenu;
        ASSERT_EQ(GetMenuItemCount(more), 1);
        EXPECT_EQ(TextOf(more, 0), L"In&ner");
        EXPECT_TRUE(InfoOf(more, 0).fState & MFS_CHECKED);
      },
      {VK_ESCAPE});
  EXPECT_TRUE(_handler.choices.empty());
}

TEST_F(PopupMenuTest, TheKeyboardReachesEveryItem) {
  Add(0, VEL_MENU_ITEM_BOLD, 10, L"<b>&Open</b>");
  Add(0, VEL_MENU_ITEM_SEPARATOR, 0, L"-");
  Add(0, VEL_MENU_ITEM_SUBMENU, 20, L"&More");
  Add(20, VEL_MENU_ITEM_PLAIN, 0, L"&First");
  Add(20, VEL_MENU_ITEM_PLAIN, 7, L"&Second");
  Add(0, VEL_MENU_ITEM_PLAIN, 7, L"E&xit");
  const struct {
    std::vector<WPARAM> keys;
    Choice choice;
  } cases[] = {
      {{VK_DOWN, VK_RETURN}, Chosen(10)},
      {{VK_DOWN, VK_DOWN, VK_RIGHT, VK_RETURN}, Chosen(0)},
      {{VK_DOWN, VK_DOWN, VK_RIGHT, VK_DOWN, VK_RETURN}, Chosen(7)},
      {{VK_UP, VK_RETURN}, Chosen(7)},
      {{VK_DOWN, VK_ESCAPE}, kNoChoice},
  };
  for (const auto& each : cases) {
    _handler.choices.clear();
    Show([](HMENU) {}, each.keys);
    if (each.choice == kNoChoice) {
      EXPECT_TRUE(_handler.choices.empty());
    } else {
      EXPECT_EQ(_handler.choices, std::vector<Choice>{each.choice});
    }
  }
}

TEST_F(PopupMenuTest, AnAccessKeyChoosesAtOnce) {
  Add(0, VEL_MENU_ITEM_PLAIN, 1, L"&Open");
  Add(0, VEL_MENU_ITEM_PLAIN, 2, L"E&xit");
  Show([this](HMENU) { PostMessageW(_owner, WM_CHAR, L'x', 0); }, {});
  EXPECT_EQ(_handler.choices, std::vector<Choice>{Chosen(2)});
}

TEST_F(PopupMenuTest, TheOwnerGetsAMessageAfterTheMenu) {
  Add(0, VEL_MENU_ITEM_PLAIN, 1, L"&Open");
  Show([](HMENU) {}, {VK_ESCAPE});
  bool found = false;
  MSG message;
  while (PeekMessageW(&message, _owner, 0, 0, PM_REMOVE)) {
    found |= message.message == WM_NULL;
  }
  EXPECT_TRUE(found);
}

TEST_F(PopupMenuTest, TheDefaultIsTheFirstItemOfItsType) {
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  Add(0, VEL_MENU_ITEM_PLAIN, 1, L"plain");
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  EXPECT_TRUE(_handler.choices.empty());
  Add(0, VEL_MENU_ITEM_BOLD, 2, L"<b>first</b>");
  Add(0, VEL_MENU_ITEM_BOLD, 3, L"<b>second</b>");
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  EXPECT_EQ(_handler.choices, std::vector<Choice>{Chosen(2)});
}

TEST_F(PopupMenuTest, AHandlerMayClearTheMenu) {
  _handler.clears = _menu;
  Add(0, VEL_MENU_ITEM_BOLD, 2, L"<b>first</b>");
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  _menu->run_default(VEL_MENU_ITEM_BOLD);
  EXPECT_EQ(_handler.choices.size(), 1u);
}

TEST_F(PopupMenuTest, AnItemWithoutAHandlerIsNoHarm) {
  _menu->add_item(0, VEL_MENU_ITEM_BOLD, 1, nullptr, nullptr, false);
  _menu->run_default(VEL_MENU_ITEM_BOLD);
}

}  // namespace
}  // namespace vel::test
