// The items of a popup menu, and the native menu that is made of them.
#ifndef VEL_COMPANIONS_DIALOGS_MENUTREE_H_
#define VEL_COMPANIONS_DIALOGS_MENUTREE_H_

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vel/IVelTrayMenu.h"

namespace veldlg {

// One item as it was added, its text already without <b> and </b>.
struct MenuItem {
  std::uint32_t parent = 0;
  std::uint32_t type = VEL_MENU_ITEM_PLAIN;
  std::uint32_t id = 0;
  std::wstring text;
  bool bold = false;
  bool checked = false;
  IVelMenuItemHandler* handler = nullptr;

  bool can_be_chosen() const {
    return type != VEL_MENU_ITEM_SUBMENU && type != VEL_MENU_ITEM_LABEL &&
           type != VEL_MENU_ITEM_SEPARATOR;
  }
};

// Takes every <b> and </b> out of `text` and tells whether there was one. A
// native menu can't set part of an item bold, so one tag makes it all bold.
bool take_out_bold_tags(std::wstring& text);

// Owns a native menu with its submenus.
class [[nodiscard]] NativeMenu {
 public:
  [[nodiscard]] explicit NativeMenu(HMENU menu) : _menu(menu) {}
  ~NativeMenu() {
    if (_menu) DestroyMenu(_menu);
  }
  NativeMenu(const NativeMenu&) = delete;
  NativeMenu& operator=(const NativeMenu&) = delete;
  HMENU get() const { return _menu; }

 private:
  HMENU _menu;
};

// Makes the native menu of `items`. The command of an item is its position in
// `items` plus 1, since the ids that callers choose may be 0 or the same. An
// item whose parent isn't a submenu that stands before it goes to the top
// level. Null when the system has no room for it.
HMENU make_native_menu(const std::vector<MenuItem>& items);

}  // namespace veldlg

#endif  // VEL_COMPANIONS_DIALOGS_MENUTREE_H_
