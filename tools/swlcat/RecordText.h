// What the text of a log file looks like: prefixes of records, and units.
#ifndef VEL_TOOLS_SWLCAT_RECORDTEXT_H_
#define VEL_TOOLS_SWLCAT_RECORDTEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "swlcat/StreamFile.h"

namespace swlcat {

inline constexpr std::size_t kUnitChars = kUnitSize / sizeof(wchar_t);
// As much of a record, in whole units, as always holds its prefix.
inline constexpr std::size_t kBeginChars = 5 * kUnitChars;
inline constexpr std::size_t kBeginBytes = kBeginChars * sizeof(wchar_t);

struct Record {
  std::uint64_t offset = 0;  // of its first byte in the file
  // The one record of a file that tells of a missing stream key has no prefix:
  // its four numbers are 0.
  bool has_prefix = true;
  std::uint32_t tick = 0;
  std::uint32_t process = 0;
  std::uint32_t thread = 0;
  std::uint32_t level = 0;
  std::wstring text;  // without prefix and end
};

// kPartly: as far as the text goes.
enum class Match { kNo, kPartly, kYes };

// Takes "[%x:%x:%x:%x] " off the front of `text` into the four numbers. With
// another result than kYes, what is left of `text` means nothing.
Match take_prefix(std::wstring_view& text, Record& record);
// Whether a record begins here.
Match begins_record(std::wstring_view text);
// The first place after the beginning of `text` with a whole prefix.
std::optional<std::size_t> find_prefix(std::wstring_view text);
// Whether it is the one without a prefix.
bool is_key_error(std::wstring_view text);

// The units below are of kUnitChars.

// The text in a unit, which zeros may follow; nothing for a damaged unit.
std::optional<std::wstring_view> text_of(std::wstring_view unit);
bool is_zero(std::wstring_view unit);
bool is_lead_in(std::wstring_view unit);
// Whether the text of a deciphered unit looks as if somebody had written it. A
// damaged unit of the cipher gives random characters, which pass once in a
// thousand times.
bool is_plausible(std::wstring_view text);

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_RECORDTEXT_H_
