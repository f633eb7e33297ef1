#include "service/ServiceRun.h"

#include <sddl.h>

#include "common/UniqueHandle.h"
#include "service/CommandPipe.h"

namespace velsvc {
namespace {

constexpr wchar_t kStopEvent[] = L"Global\\VelSvcStopEvent";
// The owner is who runs the service by hand.
constexpr wchar_t kEventSecurity[] = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;OW)";

}  // namespace

HANDLE make_stop_event() {
  SECURITY_ATTRIBUTES security = {sizeof security, nullptr, FALSE};
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(
          kEventSecurity, SDDL_REVISION_1, &security.lpSecurityDescriptor,
          nullptr)) {
    return nullptr;
  }
  companion::UniqueHandle event(
      CreateEventW(&security, TRUE, FALSE, kStopEvent));
  DWORD error = GetLastError();
  LocalFree(security.lpSecurityDescriptor);
  if (event && error == ERROR_ALREADY_EXISTS) {
    event.reset();
    error = ERROR_SERVICE_ALREADY_RUNNING;
  }
  SetLastError(error);
  return event.release();
}

DWORD run_until(HANDLE stop, void (*ready)()) {
  CommandPipe pipe(stop);
  if (!pipe.listen()) return GetLastError();
  ready();
  return pipe.serve();
}

}  // namespace velsvc
