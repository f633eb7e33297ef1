#include "dialogs/MenuTree.h"

#include <map>
#include <string_view>

namespace veldlg {
namespace {

bool erase_all(std::wstring& text, std::wstring_view part) {
  bool found = false;
  for (std::size_t at; (at = text.find(part)) != std::wstring::npos;) {
    text.erase(at, part.size());
    found = true;
  }
  return found;
}

UINT state_of(const MenuItem& item) {
  UINT state = MFS_ENABLED;
  if (item.type == VEL_MENU_ITEM_LABEL) state |= MFS_DISABLED;
  if (item.checked) state |= MFS_CHECKED;
  // Windows draws the default item bold, and a double click means it.
  if (item.bold) state |= MFS_DEFAULT;
  return state;
}

// Appends one item; gives its submenu when it has one.
bool append_item(HMENU menu, const MenuItem& item, UINT command,
                 HMENU* submenu) {
  MENUITEMINFOW info = {};
  info.cbSize = sizeof info;
  info.fMask = MIIM_FTYPE | MIIM_STATE | MIIM_ID;
  info.wID = command;
  info.fState = state_of(item);
  if (item.type == VEL_MENU_ITEM_SEPARATOR) {
    info.fType = MFT_SEPARATOR;
  } else {
    info.fType = MFT_STRING;
    info.fMask |= MIIM_STRING;
    info.dwTypeData = const_cast<wchar_t*>(item.text.c_str());
  }
  if (item.type == VEL_MENU_ITEM_SUBMENU) {
    info.hSubMenu = CreatePopupMenu();
    if (!info.hSubMenu) return false;
    info.fMask |= MIIM_SUBMENU;
  }
  const UINT end = static_cast<UINT>(GetMenuItemCount(menu));
  if (!InsertMenuItemW(menu, end, TRUE, &info)) {
    if (info.hSubMenu) DestroyMenu(info.hSubMenu);
    return false;
  }
  *submenu = info.hSubMenu;
  return true;
}

bool fill(HMENU top, const std::vector<MenuItem>& items) {
  std::map<std::uint32_t, HMENU> parents;
  UINT command = 0;
  for (const MenuItem& item : items) {
    ++command;
    const auto parent = parents.find(item.parent);
    HMENU submenu = nullptr;
    if (!append_item(parent == parents.end() ? top : parent->second, item,
                     command, &submenu)) {
      return false;
    }
    if (submenu) parents.emplace(item.id, submenu);
  }
  return true;
}

}  // namespace

bool take_out_bold_tags(std::wstring& text) {
  const bool opening = erase_all(text, L"<b>");
  const bool closing = erase_all(text, L"</b>");
  return opening || closing;
}

HMENU make_native_menu(const std::vector<MenuItem>& items) {
  const HMENU menu = CreatePopupMenu();
  if (menu && !fill(menu, items)) {
    DestroyMenu(menu);
    return nullptr;
  }
  return menu;
}

}  // namespace veldlg
