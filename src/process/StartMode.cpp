#include "process/StartMode.h"

#include <windows.h>

#include "channels/VelSvcClient.h"
#include "foundation/CommandLine.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "tray/GuiIpc.h"

namespace vel {
namespace {

constexpr std::wstring_view kAfterInstallText =
    L"/start_mode=\"after_install\"";

bool is_auto_start_wanted() {
  return RegGetDword(HKEY_CURRENT_USER, kProductKey, L"AutoStart", 1,
                     kRegViewDefault) != 0;
}

// The soft step closes the sessions, and the plug-ins may refuse that.
void shut_running_tray_down(const std::wstring& cmd_line) {
  const bool force = get_param(cmd_line, L"shutdown_mode") == L"force";
  if (force || send_gui_ipc(VELGUI_IPC_SOFT_SHUTDOWN, L"")) {
    send_gui_ipc(VELGUI_IPC_SHUTDOWN, L"");
  }
}

}  // namespace

bool process_start_mode(const std::wstring& cmd_line) {
  const std::wstring mode = get_param(cmd_line, L"start_mode");
  if (mode == L"auto") return is_auto_start_wanted();
  if (mode == L"after_install") return !relaunch_after_install();
  if (mode == L"configure") {
    send_gui_ipc(VELGUI_IPC_CONFIGURE, L"");
    return false;
  }
  if (mode == L"about") {
    send_gui_ipc(VELGUI_IPC_ABOUT, L"");
    return false;
  }
  if (mode == L"shutdown") {
    shut_running_tray_down(cmd_line);
    return false;
  }
  return true;
}

bool relaunch_after_install() {
  return VelSvc_Notify(kSvcNotifyStartProgram,
                       without_after_install(GetCommandLineW())) > 0;
}

std::wstring without_after_install(std::wstring cmd_line) {
  for (std::size_t at = cmd_line.find(kAfterInstallText);
       at != std::wstring::npos; at = cmd_line.find(kAfterInstallText, at)) {
    cmd_line.erase(at, kAfterInstallText.size());
  }
  return cmd_line;
}

}  // namespace vel
