// The tray's window, to which the plug-in sends like any other program.
#ifndef VEL_COMPANIONS_MENUS_TRAYLINK_H_
#define VEL_COMPANIONS_MENUS_TRAYLINK_H_

#include <string>

namespace velmenus {

// The run command that opens `file` in a session of `configuration`.
std::wstring open_command(const std::wstring& configuration,
                          const std::wstring& file);

// Sends a run command to the tray of this process. True when the tray has
// taken it, which doesn't say that it could be opened. Waits until it is done:
// never call this on the tray's window thread, which does the work.
bool send_run_command(const std::wstring& command);

}  // namespace velmenus

#endif  // VEL_COMPANIONS_MENUS_TRAYLINK_H_
