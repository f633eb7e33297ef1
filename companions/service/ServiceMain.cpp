// VelSvc.exe: the service control manager starts it without arguments;
// "VelSvc.exe /console" runs it in the foreground until Ctrl+C.
#include <windows.h>

#include <cstdio>
#include <cwchar>

#include "common/DebugReport.h"
#include "common/UniqueHandle.h"
#include "service/ServiceRun.h"
#include "service/UserProcess.h"

namespace velsvc {
namespace {

wchar_t service_name[] = L"VelSvc";
constexpr DWORD kStartHint = 3000;  // ms

// Written before the handlers that read them can run.
HANDLE stop_event = nullptr;
SERVICE_STATUS_HANDLE status_handle = nullptr;

void report(DWORD state, DWORD error) {
  SERVICE_STATUS status = {};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwWin32ExitCode = error;
  if (state == SERVICE_RUNNING) {
    status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
  } else if (state != SERVICE_STOPPED) {
    status.dwCheckPoint = 1;
    status.dwWaitHint = kStartHint;
  }
  SetServiceStatus(status_handle, &status);
}

DWORD WINAPI on_control(DWORD control, DWORD, void*, void*) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
    case SERVICE_CONTROL_SHUTDOWN:
      report(SERVICE_STOP_PENDING, NO_ERROR);
      SetEvent(stop_event);
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      return NO_ERROR;
    default:
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

void WINAPI service_main(DWORD, LPWSTR*) {
  status_handle =
      RegisterServiceCtrlHandlerExW(service_name, &on_control, nullptr);
  if (!status_handle) return;
  report(SERVICE_START_PENDING, NO_ERROR);
  const DWORD error =
      run_until(stop_event, [] { report(SERVICE_RUNNING, NO_ERROR); });
  report(SERVICE_STOPPED, error);
}

int run_as_service() {
  set_run_as_service(true);
  const SERVICE_TABLE_ENTRYW table[] = {{service_name, &service_main},
                                        {nullptr, nullptr}};
  if (StartServiceCtrlDispatcherW(table)) return 0;
  fwprintf(stderr,
           L"VelSvc is a service; \"VelSvc.exe /console\" runs it in "
           L"the foreground.\n");
  return static_cast<int>(GetLastError());
}

BOOL WINAPI on_console_event(DWORD) {
  SetEvent(stop_event);
  return TRUE;
}

int run_in_console() {
  SetConsoleCtrlHandler(&on_console_event, TRUE);
  const DWORD error = run_until(stop_event, [] {
    fwprintf(stderr, L"VelSvc serves \\\\.\\pipe\\VelSvc; Ctrl+C ends it.\n");
  });
  if (error != ERROR_SUCCESS) fwprintf(stderr, L"VelSvc: error %u\n", error);
  return static_cast<int>(error);
}

}  // namespace
}  // namespace velsvc

int wmain(int argc, wchar_t** argv) {
  const companion::UniqueHandle stop(velsvc::make_stop_event());
  if (!stop) {
    const DWORD error = GetLastError();
    companion::debug_report(L"service", L"the stop event", error);
    fwprintf(stderr, L"VelSvc: error %u\n", error);
    return static_cast<int>(error);
  }
  velsvc::stop_event = stop.get();
  const bool console = argc > 1 && _wcsicmp(argv[1], L"/console") == 0;
  return console ? velsvc::run_in_console() : velsvc::run_as_service();
}
