// The contract of the dialog library VELDLG.dll: the popup menu of the tray.
//
// The order of the operations is part of the contract. Operations named
// reserved_* aren't called by the tray. Nothing throws across the border.
#ifndef VEL_PUBLIC_IVELDIALOGFACTORY_H_
#define VEL_PUBLIC_IVELDIALOGFACTORY_H_

#include <cstdint>

#include "vel/IVelTrayMenu.h"

struct HWND__;
struct tagPOINT;

// A popup menu. One thread shows it, the tray's window thread; adding and
// showing never happen at the same time.
class IVelPopupMenu {
 public:
  // Ends the object.
  virtual void release() = 0;
  // Adds an item; the arguments are those of IVelTrayMenu::add_menu_item. Text
  // between <b> and </b> is drawn bold. `handler` may be null, isn't owned, and
  // lives until clear_items or release.
  virtual void add_item(std::uint32_t parent, std::uint32_t type,
                        std::uint32_t id, const wchar_t* text,
                        IVelMenuItemHandler* handler, bool flag) = 0;
  virtual void reserved_3() = 0;
  // Removes all items.
  virtual void clear_items() = 0;
  // Shows the menu at a point of the screen and returns when it has closed.
  // `owner` is a window of the calling thread. The handler of the chosen item
  // gets VEL_MENU_EVENT_CHOSEN before the return.
  virtual void show_at(const tagPOINT* point, HWND__* owner) = 0;
  virtual void reserved_6() = 0;
  // Chooses the first item of the given type, as a click on it would. Nothing
  // happens when there is none.
  virtual void run_default(std::uint32_t type) = 0;
};

class IVelDialogFactory {
 public:
  // Makes an empty menu, which the caller ends with release(); null when it
  // can't be made.
  virtual IVelPopupMenu* create_menu() = 0;
};

// The library's export. `version` is VEL_DIALOG_INTERFACE_VERSION; null for a
// version that the library doesn't know. The factory lives as long as the
// library.
using VelDlg_FactoryFn = IVelDialogFactory*(std::uint32_t version);
inline constexpr char VEL_DIALOG_FACTORY_EXPORT[] = "VelDlg_Factory";
inline constexpr std::uint32_t VEL_DIALOG_INTERFACE_VERSION = 1;

#endif  // VEL_PUBLIC_IVELDIALOGFACTORY_H_
