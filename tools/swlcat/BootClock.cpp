#include "swlcat/BootClock.h"

#include <cwchar>

namespace swlcat {
namespace {

constexpr std::int64_t kFileTimePerMs = 10000;
constexpr std::uint64_t kRound = std::uint64_t{1} << 32;

}  // namespace

std::optional<std::int64_t> local_milliseconds(const SYSTEMTIME& time) {
  FILETIME file_time;
  if (!SystemTimeToFileTime(&time, &file_time)) return {};
  const std::int64_t units = static_cast<std::int64_t>(file_time.dwHighDateTime)
                                 << 32 |
                             file_time.dwLowDateTime;
  return units / kFileTimePerMs;
}

SYSTEMTIME make_time(unsigned year, unsigned month, unsigned day, unsigned hour,
                     unsigned minute, unsigned second) {
  // What doesn't fit is no date either.
  const auto word = [](unsigned value) {
    return static_cast<WORD>(value > MAXWORD ? MAXWORD : value);
  };
  SYSTEMTIME time = {};
  time.wYear = word(year);
  time.wMonth = word(month);
  time.wDay = word(day);
  time.wHour = word(hour);
  time.wMinute = word(minute);
  time.wSecond = word(second);
  return time;
}

std::wstring time_text(std::int64_t milliseconds) {
  const std::uint64_t units =
      static_cast<std::uint64_t>(milliseconds * kFileTimePerMs);
  const FILETIME file_time = {static_cast<DWORD>(units),
                              static_cast<DWORD>(units >> 32)};
  SYSTEMTIME time = {};
  FileTimeToSystemTime(&file_time, &time);
  wchar_t text[32];
  _snwprintf(text, 32, L"%04u-%02u-%02u %02u:%02u:%02u.%03u", time.wYear,
             time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond,
             time.wMilliseconds);
  return text;
}

std::uint64_t BootClock::extend(std::uint32_t tick) {
  std::uint64_t extended = (_last & ~(kRound - 1)) | tick;
  // The nearest of the possible ones.
  if (extended + kRound / 2 < _last) {
    extended += kRound;
  } else if (extended > _last + kRound / 2 && extended >= kRound) {
    extended -= kRound;
  }
  if (extended > _last || _last == 0) _last = extended;
  return extended;
}

void BootClock::learn(std::uint64_t tick, std::wstring_view text) {
  if (text.empty() || text[0] != L'[' ||
      text.find(L"] IVelLog::create source=") == std::wstring_view::npos) {
    return;
  }
  unsigned year, month, day, hour, minute, second;
  if (_snwscanf(text.data(), text.size(), L"[%u/%u/%u %u:%u.%u]", &year, &month,
                &day, &hour, &minute, &second) != 6) {
    return;
  }
  const auto time =
      local_milliseconds(make_time(year, month, day, hour, minute, second));
  if (time) _base = *time - static_cast<std::int64_t>(tick);
}

std::optional<std::int64_t> BootClock::time_of(std::uint64_t tick) const {
  if (!_base) return {};
  return *_base + static_cast<std::int64_t>(tick);
}

}  // namespace swlcat
