#include "process/VelInstallMode.h"

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

void restore_browsers() {
  UpdateSearchSettings(true);
  UpdateStartPage();
  DeleteSearchFeature();
}

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
    &restore_browsers,
    &update_extensions,
    &set_pending,
};

int uninstall(const VelInstallSteps& steps) {
  int code = kInstallDone;
  steps.send_report(L"uninstall");
  if (!steps.delete_account()) code = kInstallStepFailed;
  if (!steps.delete_old_service()) code = kInstallStepFailed;
  steps.uninstall_service();
  steps.restore_download_ui();
  steps.restore_browsers();
  return code;
}

int install(const VelInstallSteps& steps) {
  steps.set_pending(true);
  const int code = steps.create_group() ? kInstallDone : kInstallRefused;
  // An old copy is gone first.
  steps.uninstall_service();
  steps.install_service();
  steps.update_extensions();
  steps.send_report(L"install");
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
    if (steps.tray_is_running() && !steps.end_tray()) {
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
    steps.set_pending(false);
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
