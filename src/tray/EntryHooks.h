// What the tray needs of the process entry: declared here, defined by the
// process folder, so that includes go downwards only.
#ifndef VEL_TRAY_ENTRYHOOKS_H_
#define VEL_TRAY_ENTRYHOOKS_H_

#include <windows.h>

namespace vel {

// The module handle passed to the entry; the icon resources are loaded from it.
// Set before anything else runs.
extern HINSTANCE instance_handle;

// Undoes the process's initialisation: usage monitoring, the download list,
// the version marker. Runs at most once, whoever comes first: the entry after
// the message loop, or the window thread when Windows ends the session. May
// be called on any thread.
void vel_main_term();

// Ends the process in order where the entry can't be gone back to: does what
// the entry would do behind the tray, a new start that was asked for included.
// May be called on any thread.
[[noreturn]] void end_process();

// Marks that the program is to be started anew once this process has done its
// work. The mark is never taken back. May be called on any thread.
void request_restart();

}  // namespace vel

#endif  // VEL_TRAY_ENTRYHOOKS_H_
