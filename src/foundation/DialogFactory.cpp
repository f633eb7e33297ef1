#include "foundation/DialogFactory.h"

#include <string>

#include "foundation/Paths.h"
#include "log/VelLog.h"
#include "sync/ProcAddress.h"

namespace vel {
namespace {

constinit DialogLibrary process_library;

}  // namespace

HMODULE DialogLibrary::load() {
  VelFastMutex::Scope scope(_lock);
  if (_module != nullptr) return _module;
  const std::wstring path = component_path(L"VELDLG.dll");
  if (!path.empty()) _module = LoadLibraryW(path.c_str());
  if (_module == nullptr) {
    VelLog_Print(kLogError, L"VELDLGLoad: path='%s' le=%u", path.c_str(),
                 GetLastError());
  }
  return _module;
}

IVelDialogFactory* DialogLibrary::factory() {
  const HMODULE module = load();
  if (module == nullptr) return nullptr;
  const auto get_factory =
      proc_address<VelDlg_FactoryFn*>(module, VEL_DIALOG_FACTORY_EXPORT);
  if (get_factory == nullptr) {
    VelLog_Print(kLogError,
                 L"VELDLGFactory(0x%x): failed to get VelDlg_Factory, le=%u",
                 VEL_DIALOG_INTERFACE_VERSION, GetLastError());
    return nullptr;
  }
  IVelDialogFactory* factory = get_factory(VEL_DIALOG_INTERFACE_VERSION);
  if (factory == nullptr) {
    VelLog_Print(kLogWarning, L"VELDLGFactory(0x%x): not supported",
                 VEL_DIALOG_INTERFACE_VERSION);
  }
  return factory;
}

HMODULE dialog_library() {
  return process_library.load();
}

IVelDialogFactory* dialog_factory() {
  return process_library.factory();
}

}  // namespace vel
