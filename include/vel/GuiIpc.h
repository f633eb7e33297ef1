// How another program tells a running tray what to do.
//
// Window door: find the window of class VEL_TRAY_WINDOW_CLASS with an empty
// title and send it WM_COPYDATA with wParam 0 and a COPYDATASTRUCT whose
// dwData is 0 and whose block is
//
//   offset 0        u32, little-endian: the command
//   offset 4        the text, n UTF-16 code units, no terminator
//   offset 4 + 2n   two bytes without meaning
//
// so that cbData is 2n + 6. The answer is TRUE when the command was handled.
// SendMessage returns when the command is done.
//
// Block commands carry a block of bytes both ways: it lies in a page-file
// mapping named "bmmap_<tag>", and the text is /bmmap="<tag>" /bmlen="<size>".
// The tag is "%x.%x" of the sender's process and thread id.
#ifndef VEL_PUBLIC_GUIIPC_H_
#define VEL_PUBLIC_GUIIPC_H_

#include <cstddef>
#include <cstdint>

inline constexpr wchar_t VEL_TRAY_WINDOW_CLASS[] = L"VEL_TRAY_WINDOW_CLASS";

enum VelGuiIpcCommand : std::uint32_t {
  // Text: a whole command line, opened in a session.
  VELGUI_IPC_RUNCMD = 1,
  // Ends the tray; the plug-ins may refuse, which the answer doesn't tell.
  VELGUI_IPC_SHUTDOWN = 2,
  // Text: a VelShutdownType in decimal, empty for 0. Closes all sessions;
  // FALSE when a plug-in refused.
  VELGUI_IPC_SOFT_SHUTDOWN = 3,
  VELGUI_IPC_CONFIGURE = 4,
  VELGUI_IPC_ABOUT = 5,
  // Text: a decimal value, passed on to the plug-ins.
  VELGUI_IPC_OPEN_UNPROTECTED_BROWSER = 6,
  VELGUI_IPC_UPDATE_CHECK_VERSION = 7,
  // Block: VelVersionInfo.
  VELGUI_IPC_GET_VERSION_INFO = 8,
  VELGUI_IPC_FLUSH_SESSION = 9,
  // Block: u32 out, 1 to 4 for the update status 0 to 3, 0 when unknown.
  VELGUI_IPC_UPDATE_STATUS = 10,
  // Block of one byte or more, filled by the plug-in that answers.
  VELGUI_IPC_HAS_INTERACTIVE_APPS = 11,
  VELGUI_IPC_RESTORE_ALERTS_SETTINGS = 12,
  // Block: u32 out, 1 while the tray is shutting down or was ordered to.
  VELGUI_IPC_IS_SHUTTING_DOWN = 13,
  // Blocks of 1 to VEL_GUI_IPC_MAX_BLOCK bytes, passed to the plug-ins as they
  // are.
  VELGUI_IPC_SET_URL_MODE_POLICY = 14,
  VELGUI_IPC_UPDATE_ENUM_UPDATES = 15,
  VELGUI_IPC_UI_SETTINGS_CHANGED = 16,
};

// Sizes in bytes.
inline constexpr std::size_t VEL_GUI_IPC_MIN_COPYDATA = 6;
inline constexpr std::uint32_t VEL_GUI_IPC_MAX_BLOCK = 0xFFFFFF;

inline constexpr wchar_t VEL_GUI_IPC_MAPPING_PREFIX[] = L"bmmap_";
inline constexpr wchar_t VEL_GUI_IPC_MAPPING_KEY[] = L"bmmap";
inline constexpr wchar_t VEL_GUI_IPC_LENGTH_KEY[] = L"bmlen";

// Block of VELGUI_IPC_GET_VERSION_INFO: `count` says how many entries follow,
// and the block must have room for them. What an entry holds is agreed among
// the plug-ins.
struct VelVersionInfo {
  std::uint32_t count;
  unsigned char entries[1][1280];
};
static_assert(offsetof(VelVersionInfo, entries) == 4);
static_assert(sizeof(VelVersionInfo) == 1284);

#endif  // VEL_PUBLIC_GUIIPC_H_
