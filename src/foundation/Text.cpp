#include "foundation/Text.h"

#include <cstdint>
#include <cstdio>
#include <limits>
#include <type_traits>

#include "foundation/ReplaceChars.h"
#include "sync/LastErrorKeeper.h"
#include "sync/Trap.h"

namespace vel {
namespace {

constexpr std::size_t kFirstFormatRoom = 256;
// A text that doesn't fit into this can't be formatted: the formatter answers
// -1 for a character that it can't convert, too, whatever the room.
constexpr std::size_t kLastFormatRoom = 0x2000000;
constexpr unsigned kLastAscii = 127;
constexpr unsigned kLetters = 26;
constexpr unsigned kCaseBit = 0x20;

template <typename String, typename Print>
String format_growing(Print print) {
  String text;
  for (std::size_t room = kFirstFormatRoom; room <= kLastFormatRoom;
       room *= 2) {
    text.resize(room);
    const int length = print(text.data(), room - 1);
    if (length >= 0) {
      text.resize(static_cast<std::size_t>(length));
      return text;
    }
  }
  return {};
}

template <typename Char>
constexpr unsigned code_of(Char character) {
  return static_cast<std::make_unsigned_t<Char>>(character);
}

// Flips the case of the ASCII letters from `first` on, and hands the text from
// its first other character on to the system.
template <typename Char, typename System>
void change_case(std::basic_string<Char>& text, char first, System system) {
  if (text.size() > std::numeric_limits<DWORD>::max()) vel_trap();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned code = code_of(text[i]);
    if (code > kLastAscii) {
      system(&text[i], static_cast<DWORD>(text.size() - i));
      return;
    }
    if (code - code_of(first) < kLetters) {
      text[i] = static_cast<Char>(code ^ kCaseBit);
    }
  }
}

template <typename Char>
bool is_ascii(std::basic_string_view<Char> text) {
  for (const Char character : text) {
    if (code_of(character) > kLastAscii) return false;
  }
  return true;
}

template <typename Char>
bool matches_at(std::basic_string_view<Char> text, std::size_t position,
                std::basic_string_view<Char> part) {
  return position <= text.size() && part.size() <= text.size() - position &&
         text.substr(position, part.size()) == part;
}

template <typename Char>
bool ends_with(std::basic_string_view<Char> text,
               std::basic_string_view<Char> tail) {
  return tail.size() <= text.size() &&
         matches_at(text, text.size() - tail.size(), tail);
}

int compare_no_case(std::string_view a, std::string_view b) {
  return CompareStringA(LOCALE_USER_DEFAULT, NORM_IGNORECASE, a.data(),
                        static_cast<int>(a.size()), b.data(),
                        static_cast<int>(b.size()));
}

int compare_no_case(std::wstring_view a, std::wstring_view b) {
  return CompareStringW(LOCALE_USER_DEFAULT, NORM_IGNORECASE, a.data(),
                        static_cast<int>(a.size()), b.data(),
                        static_cast<int>(b.size()));
}

// The system's comparison doesn't take a view without text.
template <typename View>
bool equals_no_case(View a, View b) {
  if (a.empty() || b.empty()) return a.size() == b.size();
  LastErrorKeeper keeper;
  return compare_no_case(a, b) == CSTR_EQUAL;
}

std::string_view xml_entity(char character) {
  switch (character) {
    case '"':
      return "&quot;";
    case '&':
      return "&amp;";
    case '\'':
      return "&apos;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    default:
      return {};
  }
}

}  // namespace

std::wstring FormatWideV(const wchar_t* format, va_list args) {
  return format_growing<std::wstring>([&](wchar_t* buffer, std::size_t room) {
    va_list copy;
    va_copy(copy, args);
    const int length = _vsnwprintf(buffer, room, format, copy);
    va_end(copy);
    return length;
  });
}

std::string FormatNarrowV(const char* format, va_list args) {
  return format_growing<std::string>([&](char* buffer, std::size_t room) {
    va_list copy;
    va_copy(copy, args);
    const int length = _vsnprintf(buffer, room, format, copy);
    va_end(copy);
    return length;
  });
}

std::wstring FormatWideArgs(const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  std::wstring text = FormatWideV(format, args);
  va_end(args);
  return text;
}

std::string FormatNarrowArgs(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = FormatNarrowV(format, args);
  va_end(args);
  return text;
}

void DebugPrintText(const std::wstring& text) {
  LastErrorKeeper keeper;
  OutputDebugStringW((text + L'\n').c_str());
}

std::wstring WideFromAnsi(std::string_view text) {
  if (text.empty()) return {};
  LastErrorKeeper keeper;
  const int size = static_cast<int>(text.size());
  const int length =
      MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), length);
  return wide;
}

bool IsAscii(std::string_view text) {
  return is_ascii(text);
}
bool IsAscii(std::wstring_view text) {
  return is_ascii(text);
}

void ToLowerInPlace(std::string& text) {
  change_case(text, 'A', CharLowerBuffA);
}
void ToLowerInPlace(std::wstring& text) {
  change_case(text, 'A', CharLowerBuffW);
}
void ToUpperInPlace(std::string& text) {
  change_case(text, 'a', CharUpperBuffA);
}
void ToUpperInPlace(std::wstring& text) {
  change_case(text, 'a', CharUpperBuffW);
}

bool EndsWith(std::string_view text, std::string_view tail) {
  return ends_with(text, tail);
}
bool EndsWith(std::wstring_view text, std::wstring_view tail) {
  return ends_with(text, tail);
}
bool StartsWith(std::string_view text, std::string_view head) {
  return matches_at(text, 0, head);
}
bool StartsWith(std::wstring_view text, std::wstring_view head) {
  return matches_at(text, 0, head);
}
bool MatchesAt(std::string_view text, std::size_t position,
               std::string_view part) {
  return matches_at(text, position, part);
}
bool MatchesAt(std::wstring_view text, std::size_t position,
               std::wstring_view part) {
  return matches_at(text, position, part);
}

bool EndsWithNoCase(std::wstring_view text, std::wstring_view tail) {
  return tail.size() <= text.size() &&
         equals_no_case(text.substr(text.size() - tail.size()), tail);
}
bool StartsWithNoCase(std::string_view text, std::string_view head) {
  return head.size() <= text.size() &&
         equals_no_case(text.substr(0, head.size()), head);
}
bool StartsWithNoCase(std::wstring_view text, std::wstring_view head) {
  return head.size() <= text.size() &&
         equals_no_case(text.substr(0, head.size()), head);
}
bool EqualsNoCase(std::wstring_view a, std::wstring_view b) {
  return equals_no_case(a, b);
}

namespace detail {

constinit std::atomic<wchar_t> folded[0x10000] = {};

wchar_t FoldNewChar(wchar_t value) {
  wchar_t answer = value;
  if (value > kLastAscii) {
    const auto argument = reinterpret_cast<wchar_t*>(std::uintptr_t{value});
    answer = static_cast<wchar_t>(
        reinterpret_cast<std::uintptr_t>(CharUpperW(argument)));
  } else if (code_of(value) - code_of('a') < kLetters) {
    answer = static_cast<wchar_t>(value ^ kCaseBit);
  }
  folded[value].store(answer, std::memory_order_relaxed);
  return answer;
}

}  // namespace detail

std::wstring HexText(const void* bytes, std::size_t length) {
  constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
  const auto* data = static_cast<const unsigned char*>(bytes);
  std::wstring text;
  text.reserve(length * 2);
  for (std::size_t i = 0; i < length; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 0xf];
  }
  return text;
}

std::wstring GuidToText(const GUID& guid) {
  const unsigned char* tail = guid.Data4;
  return FormatWide(L"{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}",
                    guid.Data1, guid.Data2, guid.Data3, tail[0], tail[1],
                    tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
}

void XmlEscape(std::string& text) {
  ReplaceChars(text, &xml_entity);
}

}  // namespace vel
