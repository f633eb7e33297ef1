#include "browser/RegisterFirefox.h"

#include <cstdint>

#include "foundation/Text.h"
#include "log/VelLog.h"
#include "log/VelProfileHolder.h"
#include "security/LowLabel.h"
#include "sync/ScopedHandle.h"
#include "sync/ThreadPriority.h"

namespace vel {
namespace {

constexpr wchar_t kDesktop[] = L"VelGuiFireFoxDesktop";
constexpr wchar_t kWindowClass[] = L"MozillaUIWindowClass";
constexpr UINT kNoErrorBoxes = SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX |
                               SEM_NOALIGNMENTFAULTEXCEPT |
                               SEM_NOOPENFILEERRORBOX;
constexpr int kRounds = 300;
// Milliseconds.
constexpr DWORD kRoundPause = 500;
constexpr DWORD kClosePause = 1000;
constexpr DWORD kIdleWait = 10000;
constexpr UINT kMessageWait = 10000;
constexpr DWORD kEndWait = 1000;

struct DesktopTraits {
  using Handle = HDESK;
  static HDESK invalid() noexcept { return nullptr; }
  // It fails for a desktop in use, which then goes with its last user.
  static bool close(HDESK desktop) noexcept {
    CloseDesktop(desktop);
    return true;
  }
};
using ScopedDesktop = BasicScopedHandle<DesktopTraits>;

void send(HWND window, UINT message) {
  DWORD_PTR result = 0;
  SendMessageTimeoutW(window, message, 0, 0, SMTO_ABORTIFHUNG, kMessageWait,
                      &result);
}

// `found` is a bool.
BOOL CALLBACK WaitCloseGuiWndEnum(HWND window, LPARAM found) {
  VEL_PROFILE_SCOPE("WaitCloseGuiWndEnum");
  if (IsWindowVisible(window)) {
    send(window, WM_CLOSE);
    *reinterpret_cast<bool*>(found) = true;
  }
  return TRUE;
}

// Both ways on purpose: the one reaches a window that is busy, the other waits.
BOOL CALLBACK DestroyGuiWndEnum(HWND window, LPARAM) {
  VEL_PROFILE_SCOPE("WaitCloseGuiWndEnum");
  if (IsWindowVisible(window)) {
    PostMessageW(window, WM_DESTROY, 0, 0);
    send(window, WM_DESTROY);
  }
  return TRUE;
}

BOOL CALLBACK KillGuiWndEnum(HWND window, LPARAM) {
  VEL_PROFILE_SCOPE("KillGuiWndEnum");
  DWORD process_id = 0;
  GetWindowThreadProcessId(window, &process_id);
  if (process_id != 0) KillPidWithTimeout(process_id);
  return TRUE;
}

// Whether there was a window to be closed.
bool close_windows(FirefoxPause pause, HDESK desktop) {
  pause(kRoundPause);
  bool found = false;
  EnumDesktopWindows(desktop, &WaitCloseGuiWndEnum,
                     reinterpret_cast<LPARAM>(&found));
  if (!found) return false;
  pause(kClosePause);
  EnumDesktopWindows(desktop, &DestroyGuiWndEnum, 0);
  return true;
}

// False, with a log line, when it doesn't start.
bool start_on_desktop(const std::wstring& program) {
  std::wstring command_line = L'"' + program + L'"';
  std::wstring desktop = kDesktop;
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.lpDesktop = desktop.data();
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, FALSE,
                      CREATE_UNICODE_ENVIRONMENT | HIGH_PRIORITY_CLASS, nullptr,
                      nullptr, &startup, &process)) {
    VelLog_Print(kLogError, L"RegisterFirefox:CreateProcess('%s'): %u",
                 command_line.c_str(), GetLastError());
    return false;
  }
  const ScopedHandle thread(process.hThread);
  const ScopedHandle owner(process.hProcess);
  WaitForInputIdle(owner.get(), kIdleWait);
  return true;
}

}  // namespace

void KillPidWithTimeout(DWORD process_id) {
  VEL_PROFILE_SCOPE("KillPidWithTimeout");
  const ScopedHandle process(
      OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, process_id));
  if (!process) return;
  if (WaitForSingleObject(process.get(), kEndWait) != WAIT_TIMEOUT) return;
  VelLog_Print(kLogWarning, L"KillPidWithTimeout:will kill: pid=0x%x",
               process_id);
  TerminateProcess(process.get(), 0);
}

void WaitCloseUIWith(FirefoxPause pause, HDESK desktop) {
  VEL_PROFILE_SCOPE("WaitCloseUI");
  int round = 0;
  while (round < kRounds && !close_windows(pause, desktop)) ++round;
  if (round == kRounds) VelLog_Print(kLogWarning, L"WaitCloseUI: timed out");
  EnumDesktopWindows(desktop, &KillGuiWndEnum, 0);
}

bool RegisterFirefoxWith(FirefoxPause pause, const std::wstring& directory) {
  VEL_PROFILE_SCOPE("RegisterFirefox");
  const ThreadPriorityScope priority(THREAD_PRIORITY_HIGHEST);
  const HWND running = FindWindowExW(nullptr, nullptr, kWindowClass, nullptr);
  if (running != nullptr) {
    VelLog_Print(
        kLogWarning, L"RegisterFirefox: act_ff_wnd=0x%x",
        static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(running)));
    return false;
  }
  const ScopedDesktop desktop(
      CreateDesktopW(kDesktop, nullptr, nullptr, 0, GENERIC_ALL, nullptr));
  if (!desktop) {
    VelLog_Print(kLogError, L"RegisterFirefox:CreateDesktop: %u",
                 GetLastError());
    return false;
  }
  SetErrorMode(kNoErrorBoxes);
  SetLowLabel(SE_WINDOW_OBJECT, desktop.get());
  if (!start_on_desktop(directory + L"\\firefox.exe")) return false;
  WaitCloseUIWith(pause, desktop.get());
  return true;
}

void WaitCloseUI(HDESK desktop) {
  WaitCloseUIWith(&Sleep, desktop);
}

bool RegisterFirefox(const std::wstring& directory) {
  return RegisterFirefoxWith(&Sleep, directory);
}

}  // namespace vel
