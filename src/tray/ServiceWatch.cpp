#include "tray/ServiceWatch.h"

#include <winternl.h>

#include "channels/VelSvcClient.h"
#include "foundation/Text.h"
#include "log/VelLog.h"
#include "sync/NtApi.h"
#include "tray/TrayMenuHolder.h"
#include "vel/IVelPlugin.h"

namespace vel {
namespace {

constexpr DWORD kRetryPause = 1000;  // ms

// 0 for a handle that isn't a process.
DWORD process_id_of(HANDLE process) {
  PROCESS_BASIC_INFORMATION information = {};
  const NTSTATUS status =
      nt::ZwQueryInformationProcess(process, ProcessBasicInformation,
                                    &information, sizeof information, nullptr);
  return nt::succeeded(status) ? static_cast<DWORD>(information.UniqueProcessId)
                               : 0;
}

void log_service_end(HANDLE process) {
  DWORD exit_code = 0;
  GetExitCodeProcess(process, &exit_code);
  VelLog_Print(
      kLogError,
      L"TrayMenuHolder::svc_reinit_proc: svc PID=0x%x exited with code 0x%x",
      process_id_of(process), exit_code);
}

}  // namespace

HANDLE svc_send_init() {
  const int reply =
      VelSvc_Notify(kSvcNotifyTrayStarted,
                    FormatWide(L"/VelGuiPid=\"%u\"", GetCurrentProcessId()));
  if (reply <= 0) {
    VelLog_Print(kLogError, L"svc_send_init: le=%u", GetLastError());
    return nullptr;
  }
  const HANDLE process = ULongToHandle(static_cast<ULONG>(reply));
  if (process_id_of(process) == 0) {
    VelLog_Print(kLogError, L"svc_send_init: 0x%x is not valid process handle",
                 reply);
    return nullptr;
  }
  return process;
}

// A service that can't be reached leaves the old handle, which stays
// signalled: then there is one try per pause, until the stop event comes.
void TrayMenuHolder::svc_reinit_proc() {
  for (;;) {
    const HANDLE handles[] = {_stop_event.get(), _svc_process.get()};
    if (WaitForMultipleObjects(ARRAYSIZE(handles), handles, FALSE, INFINITE) ==
        WAIT_OBJECT_0) {
      return;
    }
    log_service_end(_svc_process.get());
    if (const HANDLE process = svc_send_init()) {
      _svc_process = SharedHandle(process);
      _plugins.post_broadcast(nullptr, vel_broadcast::kSvcInitialized, 0, 0);
    } else {
      Sleep(kRetryPause);
    }
  }
}

}  // namespace vel
