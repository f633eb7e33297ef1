// The tray's popup menu as a plug-in sees it.
//
// A plug-in gets an IVelTrayMenu in IVelPlugin::on_tray_menu_popup, adds its
// items to it, and is told through its IVelMenuItemHandler objects when the
// user has chosen one.
//
// No operation throws. All text is zero-terminated UTF-16 and is copied by the
// side that receives it.
#ifndef VEL_PUBLIC_IVELTRAYMENU_H_
#define VEL_PUBLIC_IVELTRAYMENU_H_

#include <cstdint>

// What happens to a menu item or a balloon; the first argument of
// IVelMenuItemHandler::on_menu_event.
enum VelMenuEvent : std::uint32_t {
  // The user has clicked the balloon: `id` is VEL_BALLOON_CLICK_ID and `param`
  // the icon's id.
  VEL_MENU_EVENT_BALLOON_CLICK = 0,
  // The user has chosen the item: `id` is the item's id, `param` is 0.
  VEL_MENU_EVENT_CHOSEN = 5,
};

inline constexpr std::uint32_t VEL_BALLOON_CLICK_ID = 2146;

// The kinds of menu items, the `type` of IVelTrayMenu::add_menu_item.
enum VelMenuItemType : std::uint32_t {
  // A bold item. The first one is the menu's default, run by a double click on
  // the icon.
  VEL_MENU_ITEM_BOLD = 1,
  // Opens a submenu. Later items name its id as their parent.
  VEL_MENU_ITEM_SUBMENU = 2,
  // A line of text that can't be chosen.
  VEL_MENU_ITEM_LABEL = 3,
  // An ordinary item with a handler.
  VEL_MENU_ITEM_PLAIN = 5,
  // A line between groups; its text is "-".
  VEL_MENU_ITEM_SEPARATOR = 257,
};

// The target of a menu item. Implemented by whoever adds the item.
class IVelMenuItemHandler {
 public:
  // Called on the tray's window thread, after the menu has closed. The window
  // thread must not be kept waiting, and nothing may be sent to the tray
  // window from here: start a thread or a pool task for anything that takes
  // time. An event like those of IVelPlugin: the plug-in isn't ended meanwhile.
  virtual void on_menu_event(std::uint32_t event, std::uint32_t id,
                             std::uintptr_t param) = 0;
};

// The popup menu while it is built. Implemented by the tray.
class IVelTrayMenu {
 public:
  // Adds an item at the end of its parent.
  //   parent   id of a submenu item added before, or 0 for the top level
  //   type     a VelMenuItemType
  //   id       handed back to the handler; a submenu's id must be unique in
  //            the menu and not 0
  //   text     the item's text; '&' marks its access key
  //   handler  target of the choice, may be null. Not owned; it must live until
  //            the next on_tray_menu_popup or until the plug-in's destroy.
  //   flag     a check mark in front of the item
  // May be called on any thread, but outside on_tray_menu_popup the item lasts
  // only until the menu is built anew, which is before each showing.
  virtual void add_menu_item(std::uint32_t parent, std::uint32_t type,
                             std::uint32_t id, const wchar_t* text,
                             IVelMenuItemHandler* handler, bool flag) = 0;
};

#endif  // VEL_PUBLIC_IVELTRAYMENU_H_
