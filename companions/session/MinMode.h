// The minimal mode of this process.
#ifndef VEL_COMPANIONS_SESSION_MINMODE_H_
#define VEL_COMPANIONS_SESSION_MINMODE_H_

namespace velul {

// Puts this process into `mode`, for good, and publishes the hook event and the
// mode, which its children then start in. The same mode again, in any case of
// its letters, is a success. False with the last error:
// ERROR_CALL_NOT_IMPLEMENTED in the full build, ERROR_INVALID_PARAMETER for no
// mode or one that is too long, ERROR_ALREADY_EXISTS when the process is in
// another mode.
bool init_min_mode(const wchar_t* mode);

}  // namespace velul

#endif  // VEL_COMPANIONS_SESSION_MINMODE_H_
