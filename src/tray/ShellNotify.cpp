#include "tray/ShellNotify.h"

#include <atomic>

#include "log/VelLog.h"

namespace vel {
namespace {

// Null stands for the shell's own: its address isn't taken before the first
// use, since the library is loaded only then.
std::atomic<ShellNotifyFn> s_replacement{nullptr};

}  // namespace

void replace_shell_notify(ShellNotifyFn function) {
  s_replacement = function;
}

bool invoke_Shell_NotifyIcon(DWORD message, NOTIFYICONDATAW& data) {
  const ShellNotifyFn replacement = s_replacement;
  const BOOL done = replacement != nullptr ? replacement(message, &data)
                                           : Shell_NotifyIconW(message, &data);
  if (!done) {
    VelLog_Print(kLogWarning, L"VELTrayIcon::invoke_Shell_NotifyIcon error %u",
                 GetLastError());
  }
  return done != FALSE;
}

}  // namespace vel
