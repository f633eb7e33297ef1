// The process that stands for a session as long as it runs. It holds nothing
// and does nothing: it is in the session's job, publishes the hook event, and
// its end is the session's end. It is the system's rundll32.exe, running this
// library's VelSessionAnchorW.
#ifndef VEL_COMPANIONS_SESSION_ANCHORPROCESS_H_
#define VEL_COMPANIONS_SESSION_ANCHORPROCESS_H_

#include "session/SessionJob.h"

namespace velul {

// Starts the anchor in `job` and returns when it is ready, has failed, or
// hasn't been ready for kAnchorTimeout. A system error code; for a failure of
// the anchor itself, its exit status.
DWORD start_anchor(SessionJob& job, companion::UniqueHandle* process);

inline constexpr DWORD kAnchorTimeout = 30000;  // ms

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_ANCHORPROCESS_H_
