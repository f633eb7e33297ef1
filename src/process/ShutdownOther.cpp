#include "process/ShutdownOther.h"

#include <windows.h>

#include "log/VelLog.h"
#include "tray/GuiIpc.h"

namespace vel {
namespace {

constexpr int kWindowLooks = 100;
constexpr DWORD kMsBetweenLooks = 100;

void wait_while_window_alive() {
  for (int look = 0; look < kWindowLooks && is_tray_running(); ++look) {
    Sleep(kMsBetweenLooks);
  }
}

}  // namespace

bool softhard_shutdown_other() {
  if (!send_gui_ipc(VELGUI_IPC_SOFT_SHUTDOWN, L"0") && is_tray_running()) {
    return false;
  }
  VelLog_Print(kLogNotice, L"softhard_shutdown_other - soft shutdown OK");
  if (!send_gui_ipc(VELGUI_IPC_SHUTDOWN, L"")) {
    VelLog_Print(kLogNotice,
                 L"softhard_shutdown_other - shutdown failed, le=%u",
                 GetLastError());
    return true;
  }
  VelLog_Print(kLogNotice,
               L"softhard_shutdown_other - shutdown OK, waiting while window "
               L"alive");
  wait_while_window_alive();
  VelLog_Print(kLogNotice, L"softhard_shutdown_other - shutdown complete");
  return true;
}

}  // namespace vel
