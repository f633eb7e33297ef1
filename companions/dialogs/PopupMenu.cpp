#include "dialogs/PopupMenu.h"

#include <algorithm>
#include <exception>

namespace veldlg {
namespace {

// The handler may change the menu, so it gets nothing that lies in it.
void choose(const MenuItem& item) {
  IVelMenuItemHandler* const handler = item.handler;
  const std::uint32_t id = item.id;
  if (handler) handler->on_menu_event(VEL_MENU_EVENT_CHOSEN, id, 0);
}

// Shows the menu and gives the chosen command, 0 for none.
UINT track(HMENU menu, const POINT& point, HWND owner) {
  // Without the foreground the menu wouldn't close at a click beside it.
  SetForegroundWindow(owner);
  const UINT side =
      GetSystemMetrics(SM_MENUDROPALIGNMENT) ? TPM_RIGHTALIGN : TPM_LEFTALIGN;
  const BOOL chosen = TrackPopupMenuEx(
      menu, side | TPM_RETURNCMD | TPM_NONOTIFY | TPM_RIGHTBUTTON, point.x,
      point.y, owner, nullptr);
  // Makes the switch back to the former window happen now; else the next menu
  // of this window would close as soon as it opens.
  PostMessageW(owner, WM_NULL, 0, 0);
  return static_cast<UINT>(chosen);
}

void report(const char* what) {
  OutputDebugStringA(what);
}

}  // namespace

void PopupMenu::release() {
  delete this;
}

void PopupMenu::add_item(std::uint32_t parent, std::uint32_t type,
                         std::uint32_t id, const wchar_t* text,
                         IVelMenuItemHandler* handler, bool flag) {
  try {
    MenuItem item{parent, type, id, text ? text : L"", false, flag, handler};
    item.bold = take_out_bold_tags(item.text);
    _items.push_back(std::move(item));
  } catch (const std::exception& failure) {
    report(failure.what());
  }
}

void PopupMenu::clear_items() {
  _items.clear();
}

void PopupMenu::show_at(const POINT* point, HWND owner) {
  UINT command = 0;
  try {
    const NativeMenu menu(make_native_menu(_items));
    if (!menu.get()) return report("VELDLG: no menu can be made\n");
    command = track(menu.get(), *point, owner);
  } catch (const std::exception& failure) {
    return report(failure.what());
  }
  if (command > 0 && command <= _items.size()) choose(_items[command - 1]);
}

void PopupMenu::run_default(std::uint32_t type) {
  const auto item =
      std::find_if(_items.begin(), _items.end(),
                   [type](const MenuItem& each) { return each.type == type; });
  if (item != _items.end() && item->can_be_chosen()) choose(*item);
}

}  // namespace veldlg
