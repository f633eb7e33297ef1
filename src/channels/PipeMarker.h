// The event by which a pipe server shows that it is there; its name is
// VEL_PIPE_MARKER_FORMAT with the base name of the pipe.
#ifndef VEL_CHANNELS_PIPEMARKER_H_
#define VEL_CHANNELS_PIPEMARKER_H_

#include <windows.h>

#include "sync/ScopedHandle.h"

namespace vel {

// Makes the marker of `pipe_name` in the process's own namespace; it is there
// until the handle is closed. Empty, with the last error, on failure.
ScopedHandle create_pipe_marker(const wchar_t* pipe_name,
                                SECURITY_ATTRIBUTES* security);

// Opens the marker of `pipe_name` in the session of `token`, with all access
// that the caller may have. Empty on failure; the last error is then the native
// status as it stands. `token` needs TOKEN_QUERY.
ScopedHandle open_pipe_marker(const wchar_t* pipe_name, HANDLE token);

}  // namespace vel

#endif  // VEL_CHANNELS_PIPEMARKER_H_
