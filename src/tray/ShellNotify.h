// The way to the shell's notification area.
#ifndef VEL_TRAY_SHELLNOTIFY_H_
#define VEL_TRAY_SHELLNOTIFY_H_

#include <windows.h>
#include <shellapi.h>

namespace vel {

using ShellNotifyFn = BOOL(WINAPI*)(DWORD message, NOTIFYICONDATAW* data);

// Puts `function` in the place of Shell_NotifyIconW, null puts the shell's own
// back. For tests, while no tray icon exists.
void replace_shell_notify(ShellNotifyFn function);

// Shell_NotifyIconW; a failure is logged. On the icon's window thread only.
bool invoke_Shell_NotifyIcon(DWORD message, NOTIFYICONDATAW& data);

}  // namespace vel

#endif  // VEL_TRAY_SHELLNOTIFY_H_
