#include "swlcat/RecordText.h"

#include <algorithm>

namespace swlcat {
namespace {

constexpr std::wstring_view kKeyErrorText = L"stream_key_init_error=";
constexpr std::size_t kMaxDigits = 8;

bool is_hex(wchar_t character) {
  return (character >= L'0' && character <= L'9') ||
         (character >= L'a' && character <= L'f');
}

Match take_char(std::wstring_view& text, wchar_t character) {
  if (text.empty()) return Match::kPartly;
  if (text[0] != character) return Match::kNo;
  text.remove_prefix(1);
  return Match::kYes;
}

// A number in bare hexadecimal and the character after it.
Match take_number(std::wstring_view& text, wchar_t end, std::uint32_t& value) {
  std::size_t digits = 0;
  value = 0;
  while (digits < text.size() && digits < kMaxDigits && is_hex(text[digits])) {
    const wchar_t digit = text[digits++];
    value = value << 4 | static_cast<std::uint32_t>(
                             digit <= L'9' ? digit - L'0' : digit - L'a' + 10);
  }
  const bool is_all = digits == text.size();
  text.remove_prefix(digits);
  if (digits == 0 && !is_all) return Match::kNo;
  return take_char(text, end);
}

// The scripts that don't stand beside one another in a text.
enum class Script { kAny, kAlphabet, kChinese, kKorean, kNone };

struct Range {
  wchar_t last;
  Script script;
};

// In the order of the code units.
constexpr Range kScripts[] = {
    {0x0008, Script::kNone},     {0x000A, Script::kAny},
    {0x000C, Script::kNone},     {0x000D, Script::kAny},
    {0x001F, Script::kNone},     {0x007E, Script::kAny},
    {0x009F, Script::kNone},     {0x1FFF, Script::kAlphabet},
    {0x2BFF, Script::kAny},      {0x2DFF, Script::kAlphabet},
    {0x2FFF, Script::kChinese},  {0x303F, Script::kAny},
    {0x33FF, Script::kChinese},  {0x4DFF, Script::kNone},
    {0x9FFF, Script::kChinese},  {0xA4CF, Script::kNone},
    {0xABFF, Script::kAlphabet}, {0xD7FF, Script::kKorean},
    {0xF8FF, Script::kNone},  // lone halves of pairs, private use
    {0xFAFF, Script::kChinese},  {0xFDFF, Script::kAlphabet},
    {0xFE6F, Script::kAny},      {0xFEFE, Script::kAlphabet},
    {0xFEFF, Script::kNone},     {0xFFFD, Script::kAny},
    {0xFFFF, Script::kNone},
};

Script script_of(wchar_t character) {
  return std::find_if(
             std::begin(kScripts), std::end(kScripts),
             [=](const Range& range) { return character <= range.last; })
      ->script;
}

// How many code units of a pair lie at `at`: a pair may go across the border of
// two units.
std::size_t pair_at(std::wstring_view text, std::size_t at) {
  const auto is_high = [](wchar_t c) { return c >= 0xD800 && c < 0xDC00; };
  const auto is_low = [](wchar_t c) { return c >= 0xDC00 && c < 0xE000; };
  if (is_low(text[at])) return at == 0 ? 1 : 0;
  if (!is_high(text[at])) return 0;
  if (at + 1 == text.size()) return at + 1 == kUnitChars ? 1 : 0;
  return is_low(text[at + 1]) ? 2 : 0;
}

}  // namespace

Match take_prefix(std::wstring_view& text, Record& record) {
  Match match = take_char(text, L'[');
  for (std::uint32_t* const number :
       {&record.tick, &record.process, &record.thread, &record.level}) {
    if (match != Match::kYes) return match;
    match = take_number(text, number == &record.level ? L']' : L':', *number);
  }
  return match == Match::kYes ? take_char(text, L' ') : match;
}

Match begins_record(std::wstring_view text) {
  if (text.empty()) return Match::kPartly;
  if (text[0] == L'[') {
    Record record;
    return take_prefix(text, record);
  }
  const std::size_t length = std::min(text.size(), kKeyErrorText.size());
  if (text.substr(0, length) != kKeyErrorText.substr(0, length)) {
    return Match::kNo;
  }
  return is_key_error(text) ? Match::kYes : Match::kPartly;
}

std::optional<std::size_t> find_prefix(std::wstring_view text) {
  for (std::size_t at = 0;
       (at = text.find(L'[', at + 1)) != std::wstring_view::npos;) {
    std::wstring_view rest = text.substr(at);
    Record record;
    if (take_prefix(rest, record) == Match::kYes) return at;
  }
  return {};
}

bool is_key_error(std::wstring_view text) {
  return text.starts_with(kKeyErrorText);
}

std::optional<std::wstring_view> text_of(std::wstring_view unit) {
  const std::size_t length = std::min(unit.find(L'\0'), unit.size());
  if (unit.find_first_not_of(L'\0', length) != std::wstring_view::npos) {
    return {};
  }
  return unit.substr(0, length);
}

bool is_zero(std::wstring_view unit) {
  const auto text = text_of(unit);
  return text && text->empty();
}

bool is_lead_in(std::wstring_view unit) {
  const auto text = text_of(unit);
  return text && *text == L"\xFEFF";
}

bool is_plausible(std::wstring_view text) {
  Script script = Script::kAny;
  for (std::size_t at = 0; at < text.size();) {
    if (const std::size_t pair = pair_at(text, at)) {
      at += pair;
      continue;
    }
    const Script own = script_of(text[at++]);
    if (own == Script::kAny) continue;
    if (own == Script::kNone) return false;
    if (script != Script::kAny && own != script) return false;
    script = own;
  }
  return true;
}

}  // namespace swlcat
