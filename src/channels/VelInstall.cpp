#include "channels/VelInstall.h"

#include <windows.h>

#include <string>

#include "foundation/I18N.h"
#include "foundation/Message.h"
#include "foundation/Paths.h"
#include "foundation/Text.h"
#include "log/VelLog.h"
#include "sync/ProcAddress.h"
#include "sync/ServiceHandle.h"
#include "vel/StringIds.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\VelInstall";
constexpr char kInstall[] = "VelSvc_Install";
constexpr char kUninstall[] = "VelSvc_Uninstall";
constexpr wchar_t kLoadOrderGroup[] = L"ShellSvcGroup";
constexpr wchar_t kStopEvent[] = L"Global\\VelSvcStopEvent";
constexpr DWORD kFailureResetPeriod = 30 * 24 * 60 * 60;  // s
constexpr DWORD kRestartDelay = 5000;                     // ms
constexpr DWORD kRunningPoll = 60;                        // ms
constexpr int kRunningPolls = 300;
constexpr DWORD kStopPendingPoll = 100;  // ms

std::wstring program_directory() {
  return directory_of(module_path(nullptr));
}

std::wstring display_name(const wchar_t* name) {
  return brand() + L" " + name;
}

// A text of the language resources is a format for the error.
void tell_user(unsigned text, DWORD error) {
  show_message("%s", FormatWide(load_string(text).c_str(), error).c_str());
}

ServiceHandle open_manager(const char* operation) {
  ServiceHandle manager(
      OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  if (!manager) {
    const DWORD error = GetLastError();
    log_service_step(operation, "OpenSCManager");
    tell_user(VEL_STRING_SCM_FAILED, error);
  }
  return manager;
}

ServiceHandle create(const ServiceHandle& manager, const wchar_t* name,
                     DWORD type, const std::wstring& binary,
                     const wchar_t* dependencies) {
  return ServiceHandle(CreateServiceW(
      manager.get(), name, display_name(name).c_str(), SERVICE_ALL_ACCESS, type,
      SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, binary.c_str(), kLoadOrderGroup,
      nullptr, dependencies, nullptr, nullptr));
}

void start(const ServiceHandle& service) {
  if (!StartServiceW(service.get(), 0, nullptr)) VEL_LOG_WIN32_CALL();
}

void install_driver(const ServiceHandle& manager) {
  const ServiceHandle driver =
      create(manager, kDriverName, SERVICE_KERNEL_DRIVER,
             program_directory() + L"VELKL.sys", nullptr);
  if (!driver) {
    const DWORD error = GetLastError();
    log_service_step(kInstall, "CreateService drv");
    show_message("Can't create Brindlemar driver. Error %u.", error);
    return;
  }
  start(driver);
}

void set_failure_actions(const ServiceHandle& service) {
  SC_ACTION restart = {SC_ACTION_RESTART, kRestartDelay};
  SERVICE_FAILURE_ACTIONSW actions = {};
  actions.dwResetPeriod = kFailureResetPeriod;
  actions.cActions = 1;
  actions.lpsaActions = &restart;
  if (!ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_FAILURE_ACTIONS,
                             &actions)) {
    VEL_LOG_WIN32_CALL();
  }
}

void install_service(const ServiceHandle& manager) {
  const ServiceHandle service =
      create(manager, kServiceName, SERVICE_WIN32_OWN_PROCESS,
             L"\"" + program_directory() + L"VelSvc.exe\"", L"VELKL\0");
  if (!service) {
    const DWORD error = GetLastError();
    log_service_step(kInstall, "CreateService svc");
    show_message("Can't create Brindlemar service. Error %u.", error);
    return;
  }
  set_failure_actions(service);
  start(service);
}

// Gives a service that takes its stop event the time to leave the state
// "running".
void wait_while_running(const ServiceHandle& service) {
  SERVICE_STATUS status = {};
  status.dwCurrentState = SERVICE_RUNNING;
  for (int polls = 0;
       status.dwCurrentState == SERVICE_RUNNING && polls < kRunningPolls;
       ++polls) {
    QueryServiceStatus(service.get(), &status);
    Sleep(kRunningPoll);
  }
}

void wait_while_stop_pending(const ServiceHandle& service) {
  SERVICE_STATUS status = {};
  status.dwCurrentState = SERVICE_STOP_PENDING;
  while (status.dwCurrentState == SERVICE_STOP_PENDING) {
    QueryServiceStatus(service.get(), &status);
    Sleep(kStopPendingPoll);
  }
}

void UninstallOne(const wchar_t* name) {
  const ServiceHandle manager = open_manager(kUninstall);
  if (!manager) return;
  const ServiceHandle service(
      OpenServiceW(manager.get(), name, SERVICE_ALL_ACCESS));
  if (!service) return;
  SERVICE_STATUS status = {};
  QueryServiceStatus(service.get(), &status);
  ControlService(service.get(), SERVICE_CONTROL_STOP, &status);
  if (_wcsicmp(name, kServiceName) == 0 && VelSvc_Stop()) {
    wait_while_running(service);
  }
  wait_while_stop_pending(service);
  if (!DeleteService(service.get())) {
    const DWORD error = GetLastError();
    log_service_step(kUninstall, "DeleteService");
    tell_user(VEL_STRING_SERVICE_DELETE_FAILED, error);
  }
}

void clean_up_shell_extension() {
  const HMODULE extension =
      LoadLibraryW((program_directory() + L"Plugins\\VELSHEX.dll").c_str());
  if (extension == nullptr) return;
  const auto deinit =
      proc_address<void (*)()>(extension, "velshex_priviledged_deinit");
  if (deinit != nullptr) deinit();
}

}  // namespace

void VelSvc_Install() {
  const ServiceHandle manager = open_manager(kInstall);
  if (!manager) return;
  install_driver(manager);
  install_service(manager);
}

void VelSvc_Uninstall() {
  UninstallOne(kServiceName);
  UninstallOne(kDriverName);
  clean_up_shell_extension();
}

bool VelSvc_Stop() {
  const ScopedHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, kStopEvent));
  if (!event) {
    const DWORD error = GetLastError();
    VelLog_Print(error == ERROR_FILE_NOT_FOUND ? kLogTrace : kLogError,
                 L"VelSvc_Stop: open event error %u", error);
    return false;
  }
  SetEvent(event.get());
  return true;
}

void log_service_step(const char* operation, const char* step) noexcept {
  VelLog_Print(kLogWarning, L"%S: %S: %u.", operation, step, GetLastError());
}

}  // namespace vel
