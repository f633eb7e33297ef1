// One run of Firefox that the user doesn't see.
#ifndef VEL_BROWSER_REGISTERFIREFOX_H_
#define VEL_BROWSER_REGISTERFIREFOX_H_

#include <windows.h>

#include <string>

namespace vel {

// Starts Firefox of `directory`, which has no backslash at its end, on a
// desktop of its own, waits for its window, closes it and kills what is left
// there. True when Firefox was started, whatever came of it; false, with a log
// line, when it runs on the user's desktop already or can't be started. Takes 2
// seconds at best and some minutes at worst; the calling thread has the highest
// priority meanwhile. Sets the process's error mode and leaves it so.
bool RegisterFirefox(const std::wstring& directory);

// Waits up to 150 seconds for a visible window on `desktop`, closes all that it
// finds, and ends the processes of all windows that are left.
void WaitCloseUI(HDESK desktop);

// Gives a process a second to end, then ends it. One that can't be opened is
// passed over.
void KillPidWithTimeout(DWORD process_id);

// The pauses of the two above, to be replaced where minutes mustn't pass.
using FirefoxPause = void (*)(DWORD milliseconds);
bool RegisterFirefoxWith(FirefoxPause pause, const std::wstring& directory);
void WaitCloseUIWith(FirefoxPause pause, HDESK desktop);

}  // namespace vel

#endif  // VEL_BROWSER_REGISTERFIREFOX_H_
