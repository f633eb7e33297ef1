#include "process/VelInstallMode.h"

#include <exception>
#include <type_traits>

#include "browser/FireFoxHacks.h"
#include "browser/SearchOptions.h"
#include "browser/SearchSettings.h"
#include "channels/VelInstall.h"
#include "foundation/CommandLine.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "foundation/VolatileFlag.h"
#include "log/VelLog.h"
#include "process/ProcessState.h"
#include "process/ShutdownOther.h"
#include "security/RestrictedAccount.h"
#include "usage/UsageReport.h"

namespace vel {
namespace {

constexpr wchar_t kExplorerKey[] = L"Software\\Microsoft\\Internet Explorer";
constexpr wchar_t kDownloadUi[] = L"DownloadUI";
constexpr wchar_t kOwnDownloadUi[] = L"{93711F64-F9D7-4f1d-B013-21E88CB69D8A}";

void update_extensions() {
  NeedUpdateExtensions();
  CheckForUpdateExtensions();
}

void set_pending(bool pending) {
  VolatileFlag flag(kInstallPendingFlag, false);
  if (pending) {
    flag.Set();
  } else {
    flag.Clear();
  }
}

constexpr VelInstallSteps kRealSteps = {
    [] { return already_running; },
    &softhard_shutdown_other,
    &SendUsageStatsReport,
    &create_group,
    &delete_account,
    &delete_old_service,
    &VelSvc_Install,
    &VelSvc_Uninstall,
    &restore_ie_download_ui,
    [] { UpdateSearchSettings(true); },
    &UpdateStartPage,
    [] { DeleteSearchFeature(); },
    &update_extensions,
    &set_pending,
};

// Takes one step. The others are due whatever becomes of it, memory that runs
// out included: false then, and when the step says so itself.
template <typename Step, typename... Arguments>
bool take(Step step, Arguments... arguments) {
  try {
    if constexpr (std::is_void_v<std::invoke_result_t<Step, Arguments...>>) {
      step(arguments...);
      return true;
    } else {
      return step(arguments...);
    }
  } catch (const std::exception& error) {
    VelLog_Print(kLogError, L"vel_install_mode: a step ended with '%S'",
                 error.what());
    return false;
  }
}

int uninstall(const VelInstallSteps& steps) {
  take(steps.send_report, L"uninstall");
  bool done = take(steps.delete_account);
  done &= take(steps.delete_old_service);
  done &= take(steps.uninstall_service);
  done &= take(steps.restore_download_ui);
  done &= take(steps.restore_search);
  done &= take(steps.restore_start_page);
  done &= take(steps.delete_search_feature);
  return done ? kInstallDone : kInstallStepFailed;
}

int install(const VelInstallSteps& steps) {
  take(steps.set_pending, true);
  const int code = take(steps.create_group) ? kInstallDone : kInstallRefused;
  // An old copy is gone first.
  take(steps.uninstall_service);
  take(steps.install_service);
  take(steps.update_extensions);
  take(steps.send_report, L"install");
  return code;
}

}  // namespace

int vel_install_mode(const std::wstring& cmd_line) {
  return vel_install_mode_with(kRealSteps, cmd_line);
}

int vel_install_mode_with(const VelInstallSteps& steps,
                          const std::wstring& cmd_line) {
  IVelLog::create(L"VELINST");
  const std::wstring tokens = get_param(cmd_line, L"velinst");
  const auto asked_for = [&tokens](const wchar_t* token) {
    return tokens.find(token) != std::wstring::npos;
  };
  int code = kInstallDone;
  if (asked_for(L"[uninstall]")) {
    if (steps.tray_is_running() && !take(steps.end_tray)) {
      VelLog_Print(kLogNotice,
                   L"softhard_shutdown_other - soft shutdown failed");
      VelLog_FlushBuffer();
      // The log isn't released in this one case.
      return kInstallRefused;
    }
    code = uninstall(steps);
  } else if (asked_for(L"[install]")) {
    code = install(steps);
  } else if (asked_for(L"[noreboot]")) {
    take(steps.set_pending, false);
  }
  VelLog_FlushBuffer();
  IVelLog::release();
  return code;
}

void restore_ie_download_ui() {
  const std::wstring current = RegGetString(HKEY_CURRENT_USER, kExplorerKey,
                                            kDownloadUi, kRegViewDefault);
  if (current != kOwnDownloadUi) return;
  const std::wstring previous = RegGetString(
      HKEY_CURRENT_USER, kProductKey, L"PrevIEDownloadUI", kRegViewDefault);
  if (previous.empty()) {
    RegRemoveValue(HKEY_CURRENT_USER, kExplorerKey, kDownloadUi,
                   kRegViewDefault);
  } else {
    RegSetString(HKEY_CURRENT_USER, kExplorerKey, kDownloadUi, previous,
                 kRegViewDefault);
  }
}

}  // namespace vel
