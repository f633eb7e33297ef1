// The dialog behind "Configure...".
#ifndef VEL_COMPANIONS_MENUS_CONFIGUREDIALOG_H_
#define VEL_COMPANIONS_MENUS_CONFIGUREDIALOG_H_

#include <windows.h>

#include "menus/MenusCore.h"

namespace velmenus {

class ConfigureDialog {
 public:
  explicit ConfigureDialog(MenusCorePtr core) : _core(std::move(core)) {}

  // Shows it and returns when it has closed.
  void run();

 private:
  static INT_PTR CALLBACK procedure(HWND window, UINT message, WPARAM wparam,
                                    LPARAM lparam);
  void on_init(HWND window) const;
  void on_ok(HWND window) const;
  void set_text(HWND window, int control, UINT number) const;

  const MenusCorePtr _core;
};

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_CONFIGUREDIALOG_H_
