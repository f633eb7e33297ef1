// The messages on the system's command pipes, the tray's and the service's.
//
// A client opens the pipe for reading and writing, writes one request in one
// call, reads one reply and hangs up. All numbers are little-endian.
//
//   request   offset 0        u32: the command
//             offset 4        the text, n UTF-16 code units, no terminator
//             offset 4 + 2n   four bytes without meaning
//   reply     offset 0        u32: the command's result; 0 for a failure
//
// A request that is shorter or longer than the limits below is dropped: the
// server hangs up without a reply.
#ifndef VEL_PUBLIC_PIPEMESSAGE_H_
#define VEL_PUBLIC_PIPEMESSAGE_H_

#include <cstddef>
#include <cstdint>

// Sizes and offsets in bytes.
inline constexpr std::size_t VEL_PIPE_TEXT_OFFSET = sizeof(std::uint32_t);
inline constexpr std::size_t VEL_PIPE_TAIL_SIZE = 4;
inline constexpr std::size_t VEL_PIPE_MIN_REQUEST =
    VEL_PIPE_TEXT_OFFSET + VEL_PIPE_TAIL_SIZE;
inline constexpr std::size_t VEL_PIPE_MAX_REQUEST = 0x40000;
static_assert(VEL_PIPE_MIN_REQUEST == 8);

// Ends the server of a pipe, whatever the text; the reply is the same number.
// The service isn't ended so, since every user may write to its pipe: it has no
// reply for this. The text's meaning for all other commands is each pipe's own.
inline constexpr std::uint32_t VEL_PIPE_EXIT_COMMAND = 0xFFFFFFFF;

// The tray's pipe, one in each Windows session: the number is the session's id.
// Its commands are those of vel/GuiIpc.h.
inline constexpr wchar_t VEL_GUI_PIPE_FORMAT[] = L"\\\\.\\pipe\\VELGUIAPI_%u";

// The replies of the tray's pipe. A client reads 0 for no reply at all.
enum VelGuiPipeReply : std::uint32_t {
  VEL_GUI_PIPE_NO_REPLY = 0,
  VEL_GUI_PIPE_NOT_HANDLED = 1,
  VEL_GUI_PIPE_HANDLED = 2,
  // VELGUI_IPC_SOFT_SHUTDOWN only: by a plug-in.
  VEL_GUI_PIPE_REFUSED = 3,
};

// The event of this name, with the pipe's base name, exists in the server's
// session for as long as the pipe is served. It is never signalled.
inline constexpr wchar_t VEL_PIPE_MARKER_FORMAT[] = L"_VELINTERNAL_PIPE_%s";

#endif  // VEL_PUBLIC_PIPEMESSAGE_H_
