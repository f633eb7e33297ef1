// The client side of the pipe protocol of vel/PipeMessage.h: one request, one
// 32-bit reply, hang up. No state, any thread.
#ifndef VEL_CHANNELS_VELPIPECLIENT_H_
#define VEL_CHANNELS_VELPIPECLIENT_H_

#include <cstdint>
#include <string>

namespace vel {

// Sends `command` with its text to the server of `pipe_name`, a full pipe path,
// and gives the reply. 0 means that the command failed or never arrived; the
// reason, where there is one, is the last error (ERROR_FILE_NOT_FOUND: no
// server). Waits about 30 seconds for a busy server to accept, then without
// limit for the reply. With `verify_server` the command isn't sent, which is
// logged, unless VelPipeServerIsTrusted.
std::uint32_t VelPipeCommand(const std::wstring& pipe_name,
                             std::uint32_t command, const std::wstring& args,
                             bool verify_server);

// The same, but a server that is busy isn't waited for: 0 at once, last error
// ERROR_PIPE_BUSY.
std::uint32_t VelPipeCommandOnce(const std::wstring& pipe_name,
                                 std::uint32_t command,
                                 const std::wstring& args);

// Whether a server of that pipe shows itself in the caller's session; the last
// error is a native status when its marker isn't there. A look at a marker and
// no promise: the server may end at any time.
bool VelPipeServerIsRunning(const std::wstring& pipe_name);
// The same, and the server's objects belong to the caller. The last error is
// ERROR_INVALID_OWNER when they are somebody else's.
bool VelPipeServerIsTrusted(const std::wstring& pipe_name);

}  // namespace vel

#endif  // VEL_CHANNELS_VELPIPECLIENT_H_
