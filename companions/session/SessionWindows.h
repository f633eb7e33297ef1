// The windows that a session's processes have on the desktop.
#ifndef VEL_COMPANIONS_SESSION_SESSIONWINDOWS_H_
#define VEL_COMPANIONS_SESSION_SESSIONWINDOWS_H_

#include <windows.h>

namespace velul {

// Posts WM_CLOSE to each visible top-level window of the job's processes.
// Gives how many there were.
int post_close_to_windows(HANDLE job);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_SESSIONWINDOWS_H_
