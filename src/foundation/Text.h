// Small text tools: formatting, case, comparison, text forms of binary data.
// They keep the thread's last error, have no state but a table of folded
// characters, and serve any thread.
#ifndef VEL_FOUNDATION_TEXT_H_
#define VEL_FOUNDATION_TEXT_H_

#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace vel {

namespace detail {
// What FoldChar has found, 0 where it hasn't been asked. Threads that ask at
// once store the same answer.
extern std::atomic<wchar_t> folded[0x10000];
wchar_t FoldNewChar(wchar_t value);
}  // namespace detail

// The text that the system's _vsnwprintf and _vsnprintf make of a format, of
// any length. In a wide format %s takes a wide string and %S a narrow one, in a
// narrow format it is the other way round. A text that can't be formatted at
// all (a character that the code page lacks) comes out empty.
std::wstring FormatWideV(const wchar_t* format, va_list args);
std::string FormatNarrowV(const char* format, va_list args);
std::wstring FormatWideArgs(const wchar_t* format, ...);
std::string FormatNarrowArgs(const char* format, ...);

// The calls to use. With no arguments the format is the text, % and all.
inline std::wstring FormatWide(const wchar_t* text) {
  return text;
}
template <class First, class... Rest>
std::wstring FormatWide(const wchar_t* format, First first, Rest... rest) {
  return FormatWideArgs(format, first, rest...);
}
inline std::string FormatNarrow(const char* text) {
  return text;
}
template <class First, class... Rest>
std::string FormatNarrow(const char* format, First first, Rest... rest) {
  return FormatNarrowArgs(format, first, rest...);
}

// Sends the formatted text with a line feed to the debugger. For the system's
// other programs.
void DebugPrintText(const std::wstring& text);
template <class... Args>
void DebugPrint(const wchar_t* format, Args... args) {
  DebugPrintText(FormatWide(format, args...));
}

// Bytes of the system's ANSI code page as wide text.
std::wstring WideFromAnsi(std::string_view text);

// Whether all code units are at most 127; true for the empty text.
bool IsAscii(std::string_view text);
bool IsAscii(std::wstring_view text);

// No system call is made for ASCII text. A text longer than 32 bits can count
// ends the process.
void ToLowerInPlace(std::string& text);
void ToLowerInPlace(std::wstring& text);
void ToUpperInPlace(std::string& text);
void ToUpperInPlace(std::wstring& text);

// Comparison of code units. An empty tail or head is always there, one that is
// longer than the text never.
bool EndsWith(std::string_view text, std::string_view tail);
bool EndsWith(std::wstring_view text, std::wstring_view tail);
bool StartsWith(std::string_view text, std::string_view head);
bool StartsWith(std::wstring_view text, std::wstring_view head);
// Whether `part` stands at `position`; false where it would stick out.
bool MatchesAt(std::string_view text, std::size_t position,
               std::string_view part);
bool MatchesAt(std::wstring_view text, std::size_t position,
               std::wstring_view part);

// Comparison by the rules of the user's locale, without regard to case. Only as
// many characters are looked at as the tail or head has.
bool EndsWithNoCase(std::wstring_view text, std::wstring_view tail);
bool StartsWithNoCase(std::string_view text, std::string_view head);
bool StartsWithNoCase(std::wstring_view text, std::wstring_view head);
bool EqualsNoCase(std::wstring_view a, std::wstring_view b);

// `value` in upper case as CharUpperW has it, which doesn't depend on the
// user's locale. ASCII is folded without the system, any other character is
// asked for once and remembered.
inline wchar_t FoldChar(wchar_t value) {
  const wchar_t known = detail::folded[value].load(std::memory_order_relaxed);
  return known != 0 ? known : detail::FoldNewChar(value);
}
// Whether two code units are the same or fold to the same.
inline bool CharEqualsNoCase(wchar_t a, wchar_t b) {
  return a == b || FoldChar(a) == FoldChar(b);
}

// The next three are for the system's other programs.

// Two upper-case hexadecimal digits per byte.
std::wstring HexText(const void* bytes, std::size_t length);

// "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}": lower-case digits.
std::wstring GuidToText(const GUID& guid);

// Replaces " & ' < > by their entities.
void XmlEscape(std::string& text);

}  // namespace vel

#endif  // VEL_FOUNDATION_TEXT_H_
