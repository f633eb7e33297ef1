// A dialog library whose menu is the test's.
#include "fakes/Doors.h"
#include "vel/IVelDialogFactory.h"

extern "C" __declspec(dllexport)
    IVelDialogFactory* VelDlg_Factory(std::uint32_t version) {
  if (version != VEL_DIALOG_INTERFACE_VERSION) return nullptr;
  return vel::test::find_door<IVelDialogFactory>();
}
