// The way to the dialog library VELDLG.dll, which makes the popup menu.
#ifndef VEL_FOUNDATION_DIALOGFACTORY_H_
#define VEL_FOUNDATION_DIALOGFACTORY_H_

#include <windows.h>

#include "sync/ThreadAnnotations.h"
#include "sync/VelFastMutex.h"
#include "vel/IVelDialogFactory.h"

namespace vel {

// The library, loaded when it is first asked for and kept to the end of the
// process: what it made lives on. Any thread.
class DialogLibrary {
 public:
  DialogLibrary() = default;
  DialogLibrary(const DialogLibrary&) = delete;
  DialogLibrary& operator=(const DialogLibrary&) = delete;

  // Null when it can't be loaded, with a log line at level 3; the next call
  // tries again.
  HMODULE load();

  // The library's factory, which it owns. Null, with a log line, when there is
  // no library, no factory in it, or none of this interface version.
  IVelDialogFactory* factory();

 private:
  VelFastMutex _lock;
  HMODULE _module VEL_GUARDED_BY(_lock) = nullptr;
};

// load() and factory() of the process's one DialogLibrary.
HMODULE dialog_library();
IVelDialogFactory* dialog_factory();

}  // namespace vel

#endif  // VEL_FOUNDATION_DIALOGFACTORY_H_
