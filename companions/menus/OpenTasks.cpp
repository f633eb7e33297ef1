#include "menus/OpenTasks.h"

#include <windows.h>

#include <objbase.h>
#include <shellapi.h>

#include "menus/Background.h"
#include "menus/Dialogs.h"
#include "menus/Settings.h"
#include "menus/TrayLink.h"
#include "vel/StringIds.h"

namespace velmenus {
namespace {

bool shell_open(const std::wstring& file) {
  // The shell may need COM for it, which a thread of the pool doesn't have.
  const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  SHELLEXECUTEINFOW info = {};
  info.cbSize = sizeof info;
  info.fMask = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
  info.lpFile = file.c_str();
  info.nShow = SW_SHOWNORMAL;
  const bool opened = ShellExecuteExW(&info) != FALSE;
  if (SUCCEEDED(com)) CoUninitialize();
  return opened;
}

void report_unopened(const MenusCorePtr& core, const std::wstring& file) {
  show_message(core, core->texts.format(VEL_STRING_OPEN_FAILED, file.c_str()));
}

bool is_failure(std::uint32_t status) {
  // A session that runs already is what was wished for, and a tray that shuts
  // down says so itself.
  return status != VEL_STATUS_OK && status != VEL_STATUS_SESSION_ACTIVE &&
         status != VEL_STATUS_SHUTTING_DOWN;
}

}  // namespace

void open_in_session(const MenusCorePtr& core, const std::wstring& file) {
  background::run_task([core, file] {
    const std::wstring configuration =
        chosen_configuration(core->configurations);
    if (!send_run_command(open_command(configuration, file))) {
      report_unopened(core, file);
    }
  });
}

void open_browser(const MenusCorePtr& core) {
  open_in_session(core, core->texts.get(VEL_STRING_START_PAGE));
}

void open_unprotected_browser(const MenusCorePtr& core) {
  background::run_task([core] {
    const std::wstring page = core->texts.get(VEL_STRING_START_PAGE);
    if (!shell_open(page)) report_unopened(core, page);
  });
}

void start_session(const MenusCorePtr& core,
                   const std::wstring& configuration) {
  background::run_task([core, configuration] {
    const HostRef::Use host(core->host);
    if (!host) return;
    const std::uint32_t status = host->need_session(configuration.c_str());
    if (is_failure(status)) {
      show_message(core, core->texts.format(VEL_STRING_SESSION_FAILED,
                                            configuration.c_str(), status));
    }
  });
}

void end_session(const MenusCorePtr& core, const std::wstring& configuration) {
  background::run_task([core, configuration] {
    const HostRef::Use host(core->host);
    // A plug-in that refuses tells the user why, if there is anything to tell.
    if (host) host->close_session(configuration.c_str(), VEL_SHUTDOWN_USER);
  });
}

}  // namespace velmenus
