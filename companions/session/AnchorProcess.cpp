#include "session/AnchorProcess.h"

#include <cwchar>

#include "session/HookEvent.h"

namespace velul {
namespace {

using companion::UniqueHandle;

// Low in the order at the end of the user's session, so that the tray is asked
// while its sessions still run.
constexpr DWORD kShutdownLevel = 0x110;

std::wstring own_path() {
  HMODULE own = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                         GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<const wchar_t*>(&own_path), &own);
  std::wstring path(32768, L'\0');
  path.resize(
      GetModuleFileNameW(own, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

std::wstring anchor_command_line(HANDLE ready) {
  wchar_t system[MAX_PATH] = L"";
  GetSystemDirectoryW(system, MAX_PATH);
  wchar_t handle[24];
  _snwprintf(handle, 24, L"%Ix", reinterpret_cast<std::uintptr_t>(ready));
  return L"\"" + std::wstring(system) + L"\\rundll32.exe\" \"" + own_path() +
         L"\",VelSessionAnchor " + handle;
}

DWORD wait_until_ready(HANDLE process, HANDLE ready) {
  const HANDLE handles[] = {ready, process};
  switch (WaitForMultipleObjects(2, handles, FALSE, kAnchorTimeout)) {
    case WAIT_OBJECT_0:
      return ERROR_SUCCESS;
    case WAIT_OBJECT_0 + 1: {
      DWORD status = 0;
      GetExitCodeProcess(process, &status);
      return status ? status : DWORD{ERROR_PROCESS_ABORTED};
    }
    case WAIT_TIMEOUT:
      return ERROR_TIMEOUT;
    default:
      return GetLastError();
  }
}

}  // namespace

DWORD start_anchor(SessionJob& job, UniqueHandle* process) {
  SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
  const UniqueHandle ready(CreateEventW(&inheritable, TRUE, FALSE, nullptr));
  if (!ready) return GetLastError();
  const ProcessStart start = {anchor_command_line(ready.get()), L"",
                              ready.get()};
  if (const DWORD error = job.start_process(start, process)) return error;
  const DWORD error = wait_until_ready(process->get(), ready.get());
  if (error != ERROR_SUCCESS) process->reset();
  return error;
}

}  // namespace velul

// The anchor's side. The argument is its inherited handle of the event that
// says that it is ready. It ends only by being ended.
extern "C" void CALLBACK VelSessionAnchorW(HWND, HINSTANCE,
                                           const wchar_t* arguments, int) {
  const companion::UniqueHandle ready(
      reinterpret_cast<HANDLE>(_wcstoui64(arguments, nullptr, 16)));
  if (!velul::publish_hook_event() || !SetEvent(ready.get())) {
    ExitProcess(GetLastError());
  }
  SetProcessShutdownParameters(velul::kShutdownLevel, 0);
  // rundll32.exe has a window on this thread, so messages must be taken.
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
}
