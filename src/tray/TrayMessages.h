// Names and numbers of the tray window that other code has to agree with.
#ifndef VEL_TRAY_TRAYMESSAGES_H_
#define VEL_TRAY_TRAYMESSAGES_H_

#include <windows.h>

namespace vel {

// The private messages of the tray window. Only the window thread calls the
// shell: what other threads want of the icon they post as one of these.
enum TrayMessage : UINT {
  // From the shell. wParam: the icon's id, lParam: a mouse message. Result 1.
  kTrayCallbackMessage = 2146,
  // lParam: the new tip, from _wcsdup. The window doesn't free it. Result 1.
  kTraySetTipMessage = 2147,
  // lParam: the new icon, not owned. Result: the former one.
  kTraySetIconMessage = 2148,
  // wParam: an IVelMenuItemHandler or null, lParam: a NOTIFYICONDATAW from
  // calloc, which the window frees. Result 1.
  kTrayShowBalloonMessage = 2149,
  // Closes the popup if it is open. Result 1.
  kTrayCloseMenuMessage = 2150,
};

// Sent by a shell that has come up, and by the tray to itself whenever the
// icon has to be looked at. Registered at the process's start.
extern const UINT taskbar_created_message;

// The timer that tells one click from two.
inline constexpr UINT_PTR kTrayClickTimer = 13441;

// The executable's icon.
inline constexpr WORD kTrayIconResource = 101;

}  // namespace vel

#endif  // VEL_TRAY_TRAYMESSAGES_H_
