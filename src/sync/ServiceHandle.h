#ifndef VEL_SYNC_SERVICEHANDLE_H_
#define VEL_SYNC_SERVICEHANDLE_H_

#include <windows.h>
#include <winsvc.h>

#include "sync/ScopedHandle.h"

namespace vel {

struct ServiceHandleTraits {
  using Handle = SC_HANDLE;
  static SC_HANDLE invalid() noexcept { return nullptr; }
  static bool close(SC_HANDLE handle) noexcept {
    return CloseServiceHandle(handle) != 0;
  }
};

// A handle of the service control manager or of one of its services.
using ServiceHandle = BasicScopedHandle<ServiceHandleTraits>;

}  // namespace vel

#endif  // VEL_SYNC_SERVICEHANDLE_H_
