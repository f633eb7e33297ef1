#ifndef VEL_SESSIONS_SESSIONENDING_H_
#define VEL_SESSIONS_SESSIONENDING_H_

#include <atomic>

namespace vel {

// True while Windows ends the user's session: no sandbox session is brought
// back meanwhile. Written by the tray's window thread only, read by the restart
// tasks of the session holders, which look again every 100 ms. It guards
// nothing else.
extern std::atomic<bool> session_ending;
static_assert(sizeof(session_ending) == 1);

}  // namespace vel

#endif  // VEL_SESSIONS_SESSIONENDING_H_
