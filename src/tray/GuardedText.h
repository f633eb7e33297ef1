// Text from an address that may be wrong.
#ifndef VEL_TRAY_GUARDEDTEXT_H_
#define VEL_TRAY_GUARDEDTEXT_H_

#include <cstddef>

namespace vel {

// Copies a text of this process as wcsncpy does, up to its terminator or
// `count` characters, and fills the rest of `target` with zeros; a text that
// fills `target` isn't terminated. False when a character before that can't be
// read: `target` then holds those in front of it.
bool copy_text_guarded(wchar_t* target, std::size_t count,
                       const wchar_t* source);

}  // namespace vel

#endif  // VEL_TRAY_GUARDEDTEXT_H_
