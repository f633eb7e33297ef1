// The tray run: what the process sets up around it, and its message loop.
#ifndef VEL_PROCESS_MAINRUN_H_
#define VEL_PROCESS_MAINRUN_H_

#include <string>

namespace vel {

// What lasts for the whole tray run: the shared-files folder, usage monitoring,
// the libraries that stay loaded. Does nothing between a call and the
// vel_main_term (tray/EntryHooks.h) that undoes it.
void vel_main_init();

// Builds the tray, runs the command line as its first command and then the main
// message loop, until WM_QUIT comes.
void vel_main_run(const std::wstring& cmd_line);

// Turns the full log on for this process and its children when Shift and Ctrl
// are held down and VELLOG isn't set.
void verbose_log_on_hotkey();

}  // namespace vel

#endif  // VEL_PROCESS_MAINRUN_H_
