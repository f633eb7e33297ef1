#include "log/VelLog.h"
#include "sync/VelSyncNt.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\VelSyncNt";

void pump_messages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

}  // namespace

WaitResult WaitWithMessages(HANDLE handle) {
  for (;;) {
    const DWORD result =
        MsgWaitForMultipleObjects(1, &handle, FALSE, INFINITE, QS_ALLINPUT);
    switch (result) {
      case WAIT_OBJECT_0:
        return kWaitSignalled;
      case WAIT_OBJECT_0 + 1:
        pump_messages();
        break;
      case WAIT_TIMEOUT:
        return kWaitTimedOut;
      default:
        VEL_LOG_WIN32_CALL();
        return kWaitFailed;
    }
  }
}

}  // namespace vel
