#include "process/VELGUI.h"

#include <shellapi.h>

#include "browser/FireFoxHacks.h"
#include "browser/SearchSettings.h"
#include "foundation/CommandLine.h"
#include "foundation/Environment.h"
#include "foundation/I18N.h"
#include "foundation/Paths.h"
#include "foundation/VolatileFlag.h"
#include "log/VelLog.h"
#include "process/MainRun.h"
#include "process/ProcessState.h"
#include "process/StartMode.h"
#include "process/SystemVersions.h"
#include "process/VelInstallMode.h"
#include "process/VersionState.h"
#include "security/VelUtilsSecurity.h"
#include "sync/ScopedHandle.h"
#include "tray/EntryHooks.h"
#include "tray/GuiIpc.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\VELGUI";
constexpr wchar_t kRunningMutex[] = L"VELGUI_RUNNING";
constexpr wchar_t kDummyMode[] = L"DUMMY";
constexpr wchar_t kGuestText[] = L"/guest";

// The mutex of the running program; null when this process doesn't hold it.
constinit HANDLE running_mutex = nullptr;

// As the system gives it: the long form would cost a look at the disk.
std::wstring executable_path() {
  for (DWORD room = 1024;; room *= 2) {
    std::wstring path(room, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), room);
    path.resize(length);
    if (length < room) return path;
  }
}

void publish_program_directory() {
  const std::wstring path = executable_path();
  set_env(L"VELDIR", path.substr(0, path.find_last_of(L'\\')), true);
}

void start_anew_if_asked() {
  if (!restart_after_exit) return;
  ShellExecuteW(nullptr, nullptr, executable_path().c_str(), nullptr, nullptr,
                SW_SHOWDEFAULT);
}

bool has_param(const std::wstring& cmd_line, const wchar_t* key) {
  return !get_param(cmd_line, key).empty();
}

void show_resource_message(unsigned text, UINT icon) {
  MessageBoxW(nullptr, load_string(text).c_str(),
              load_string(VEL_STRING_PRODUCT_NAME).c_str(), icon);
}

// The message box is empty without the texts. The log isn't open yet.
void report_missing_resources() {
  OutputDebugStringW((L"VELGUI: no language resources, tried '" +
                      component_path(kResourceLibrary) + L"'\n")
                         .c_str());
}

bool is_install_pending() {
  return VolatileFlag(kInstallPendingFlag, false).IsSet();
}

// The tray run, from the log to its end.
void run_as_tray(const std::wstring& cmd_line) {
  VEL_LOG_LINE();
  EnableDebugPrivilege();
  // Before the log, so that it can set the log's own controls.
  apply_env_params(cmd_line);
  VEL_LOG_LINE();
  IVelLog::create(L"VELGUI");
  CheckForUpdateExtensions();
  VEL_LOG_LINE();
  log_system_versions();
  VEL_LOG_LINE();
  vel_main_init();
  VEL_LOG_LINE();
  vel_main_run(cmd_line);
  VEL_LOG_LINE();
  vel_main_term();
  VelLog_FlushBuffer();
  IVelLog::release();
}

}  // namespace

int vel_entry(HINSTANCE instance) {
  instance_handle = instance;
  publish_program_directory();
  const std::wstring cmd_line = GetCommandLineW();
  if (get_param(cmd_line, L"mode") == kDummyMode) return kExitDone;
  VEL_LOG_LINE();
  if (!process_start_mode(cmd_line)) return kExitDone;
  VEL_LOG_LINE();
  const int exit_code = BrindlemarMain(cmd_line);
  start_anew_if_asked();
  return exit_code;
}

int BrindlemarMain(const std::wstring& cmd_line) {
  SetLastError(ERROR_SUCCESS);
  const ScopedHandle running(CreateMutexW(nullptr, FALSE, kRunningMutex));
  already_running = running && GetLastError() == ERROR_ALREADY_EXISTS;
  running_mutex = running.get();
  VEL_LOG_LINE();
  const int exit_code = vel_main_select(cmd_line);
  VelLog_Print(kLogNotice,
               L"BrindlemarMain: cmd_line='%s' vel_main_select()=%i",
               cmd_line.c_str(), exit_code);
  running_mutex = nullptr;
  return exit_code;
}

int vel_main_select(const std::wstring& cmd_line) {
  if (has_param(cmd_line, L"velinst")) {
    load_resources();
    return vel_install_mode(cmd_line);
  }
  if (has_param(cmd_line, L"askpref")) {
    apply_preferences();
    return kExitDone;
  }
  VEL_LOG_LINE();
  if (send_gui_ipc(VELGUI_IPC_RUNCMD, cmd_line.c_str())) return kExitDone;
  if (already_running) return kExitRefused;
  VEL_LOG_LINE();
  if (is_install_pending()) {
    load_resources();
    show_resource_message(VEL_STRING_INSTALL_PENDING, MB_ICONEXCLAMATION);
    return kExitRefused;
  }
  VEL_LOG_LINE();
  guest_mode = cmd_line.find(kGuestText) != std::wstring::npos;
  init_version_state();
  VEL_LOG_LINE();
  if (!load_resources()) {
    report_missing_resources();
    show_resource_message(VEL_STRING_RESOURCES_MISSING, MB_ICONHAND);
    return kExitNoResources;
  }
  run_as_tray(cmd_line);
  return kExitDone;
}

bool load_resources() {
  resources = get_i18n().module();
  return resources != nullptr;
}

void apply_preferences() {
  UpdateSearchSettings(false);
  UpdateStartPage();
}

void end_process() {
  vel_main_term();
  VelLog_TryFlushBuffer();
  // The next copy must not find this one running.
  if (running_mutex != nullptr) CloseHandle(running_mutex);
  start_anew_if_asked();
  ExitProcess(kExitDone);
}

void request_restart() {
  restart_after_exit = true;
}

}  // namespace vel
