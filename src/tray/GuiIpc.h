// The sending side of GUI IPC: how this program, and the tray's own side
// threads, talk to the tray that runs on the user's desktop. The wire format
// and the commands are those of vel/GuiIpc.h.
//
// This is the way of a second copy that hands its command line over and ends.
// It touches nothing but kernel32 and user32: no file, no library, no log.
#ifndef VEL_TRAY_GUIIPC_H_
#define VEL_TRAY_GUIIPC_H_

#include <cstddef>
#include <cstdint>

#include "vel/GuiIpc.h"

namespace vel {

// Sends a command and waits, with no time limit, until the tray has carried it
// out. `text` may be null. False when there is no tray, no memory for the
// block, or the tray's answer was anything but success.
//
// Never call it on the tray's window thread.
bool send_gui_ipc(std::uint32_t command, const wchar_t* text);

// The same with a block of `size` bytes that goes both ways: on success
// `buffer` holds what the tray has made of it, on failure it is unchanged.
// A size of 0 is refused with the last error ERROR_EMPTY, one of 2 GiB or more
// with ERROR_NOT_ENOUGH_MEMORY; the tray itself takes VEL_GUI_IPC_MAX_BLOCK at
// most.
bool send_gui_ipc_mapped(std::uint32_t command, void* buffer, std::size_t size);

// Whether a tray window exists on this desktop.
bool is_tray_running();

}  // namespace vel

#endif  // VEL_TRAY_GUIIPC_H_
