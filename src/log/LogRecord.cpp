#include "log/LogRecord.h"

#include <algorithm>
#include <cstring>

#include "log/LogText.h"
#include "sync/CurrentThread.h"
#include "sync/Trap.h"

namespace vel {
namespace {

// The text limit of the stack buffer, and what a heap block grows from and to,
// in code units. A message too long for the stack starts over at the small
// size.
constexpr std::size_t kStackTextChars = 1780;
constexpr std::size_t kFirstBlockChars = 256;
constexpr std::size_t kBlockLimitChars = 0x100000;
// Left free behind the text: CR LF and the padding.
constexpr std::size_t kLineEndChars = 2;
constexpr std::size_t kBlockTailChars = 4 + kLogUnitChars;

}  // namespace

LogRecord::~LogRecord() {
  if (_block != nullptr) HeapFree(_heap, 0, _block);
}

bool LogRecord::format(unsigned level, const wchar_t* format,
                       va_list args) noexcept {
  const auto prefix = static_cast<std::size_t>(
      nt_print(_stack, kStackChars, L"[%x:%x:%x:%x] ", GetTickCount(),
               current_process_id(), current_thread_id(), level));
  const int count =
      nt_vprint(_stack + prefix, kStackTextChars - prefix, format, args);
  if (count < 0 ||
      prefix + static_cast<std::size_t>(count) >= kStackTextChars) {
    return format_long(prefix, format, args);
  }
  finish(_stack, prefix + static_cast<std::size_t>(count), kStackChars);
  return true;
}

bool LogRecord::format_long(std::size_t prefix, const wchar_t* format,
                            va_list args) noexcept {
  for (std::size_t chars = kFirstBlockChars; chars < kBlockLimitChars;
       chars += chars / 16 + 256) {
    const std::size_t capacity = chars + kLogUnitChars;
    auto* text =
        static_cast<wchar_t*>(HeapAlloc(_heap, 0, capacity * sizeof(wchar_t)));
    if (text == nullptr) return false;
    const int count = nt_vprint(text + prefix, chars - prefix - kBlockTailChars,
                                format, args);
    if (count >= 0) {
      std::memcpy(text, _stack, prefix * sizeof(wchar_t));
      finish(text, prefix + static_cast<std::size_t>(count), capacity);
      _block = text;
      return true;
    }
    HeapFree(_heap, 0, text);
  }
  return false;
}

void LogRecord::finish(wchar_t* text, std::size_t chars,
                       std::size_t capacity) noexcept {
  text[chars++] = L'\r';
  text[chars++] = L'\n';
  for (; chars % kLogUnitChars != 0; ++chars) {
    if (chars >= capacity) vel_trap();
    text[chars] = L'\0';
  }
  _length = static_cast<std::uint32_t>(chars * sizeof(wchar_t));
}

}  // namespace vel
