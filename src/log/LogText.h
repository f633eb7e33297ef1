#ifndef VEL_LOG_LOGTEXT_H_
#define VEL_LOG_LOGTEXT_H_

#include <cstdarg>
#include <cstddef>

namespace vel {

// Text functions for the log: no memory and no lock of the runtime, whose own
// functions take its locks.

// Both are _vsnwprintf of ntdll.dll: the count of code units, negative when the
// text doesn't fit into `limit`; a text that fills `limit` exactly has no zero
// behind it. The caller's `args` stay usable.
[[nodiscard]] int nt_vprint(wchar_t* text, std::size_t limit,
                            const wchar_t* format, va_list args) noexcept;
int nt_print(wchar_t* text, std::size_t limit, const wchar_t* format,
             ...) noexcept;

// Puts `tail` behind the text in a buffer of `capacity` code units. False, with
// nothing changed, when it and a zero don't fit.
[[nodiscard]] bool append_text(wchar_t* text, std::size_t capacity,
                               const wchar_t* tail) noexcept;

}  // namespace vel

#endif  // VEL_LOG_LOGTEXT_H_
