// A message box for the user, and a window message with no meaning.
#ifndef VEL_FOUNDATION_MESSAGE_H_
#define VEL_FOUNDATION_MESSAGE_H_

#include <windows.h>

#include <string>

namespace vel {

inline constexpr wchar_t kMessageCaption[] = L"Brindlemar message";

// Shows a topmost message box without owner and returns when it is closed. The
// format is widened first, so %s takes a wide string and %S a narrow one.
void show_message(const char* format, ...);

// What show_message shows: a text that begins with the kernel's path prefix
// \??\ gets "path: " in front.
std::wstring message_text(const std::wstring& text);

// Registers the message and logs its number at level 4. 0 when the system has
// no number left.
UINT RegisterDummyMsg();
// The number of the message, registered at the first call; WM_PAINT when there
// is none. Any thread. For the system's other programs.
UINT GetDummyMsg();

}  // namespace vel

#endif  // VEL_FOUNDATION_MESSAGE_H_
