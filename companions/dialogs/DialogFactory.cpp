// The library's one export: the factory of version 1.
#include <new>

#include "dialogs/PopupMenu.h"
#include "vel/IVelDialogFactory.h"

namespace veldlg {
namespace {

class DialogFactory final : public IVelDialogFactory {
 public:
  IVelPopupMenu* create_menu() override { return new (std::nothrow) PopupMenu; }
};

constinit DialogFactory factory;

}  // namespace
}  // namespace veldlg

extern "C" IVelDialogFactory* VelDlg_Factory(std::uint32_t version) {
  return version == VEL_DIALOG_INTERFACE_VERSION ? &veldlg::factory : nullptr;
}
