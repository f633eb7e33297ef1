// The tray's popup menu as a native one.
#ifndef VEL_COMPANIONS_DIALOGS_POPUPMENU_H_
#define VEL_COMPANIONS_DIALOGS_POPUPMENU_H_

#include <vector>

#include "dialogs/MenuTree.h"
#include "vel/IVelDialogFactory.h"

namespace veldlg {

// Threads and locks: none of its own, as the contract has it.
class PopupMenu final : public IVelPopupMenu {
 public:
  void release() override;
  void add_item(std::uint32_t parent, std::uint32_t type, std::uint32_t id,
                const wchar_t* text, IVelMenuItemHandler* handler,
                bool flag) override;
  void reserved_3() override {}
  void clear_items() override;
  void show_at(const POINT* point, HWND owner) override;
  void reserved_6() override {}
  void run_default(std::uint32_t type) override;

 private:
  ~PopupMenu() = default;

  std::vector<MenuItem> _items;
};

}  // namespace veldlg

#endif  // VEL_COMPANIONS_DIALOGS_POPUPMENU_H_
