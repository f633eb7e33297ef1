#include "swlcat/RecordReader.h"

#include <algorithm>
#include <cwchar>
#include <optional>
#include <string_view>

namespace swlcat {
namespace {

constexpr std::size_t kBlockSize = 0x100000;  // bytes
constexpr std::size_t kUnitChars = kUnitSize / sizeof(wchar_t);
// Longer than any record that the log writes, in code units.
constexpr std::size_t kLongestRecord = 0x110000;
constexpr wchar_t kKeyErrorText[] = L"stream_key_init_error=";

bool is_hex(wchar_t character) {
  return (character >= L'0' && character <= L'9') ||
         (character >= L'a' && character <= L'f');
}

// Takes a number in bare hexadecimal and what ends it off the front.
bool take_number(std::wstring_view& text, wchar_t end, std::uint32_t& value) {
  std::size_t digits = 0;
  value = 0;
  while (digits < text.size() && digits <= 8 && is_hex(text[digits])) {
    const wchar_t digit = text[digits++];
    value = value << 4 | static_cast<std::uint32_t>(
                             digit <= L'9' ? digit - L'0' : digit - L'a' + 10);
  }
  if (digits == 0 || digits > 8 || digits == text.size() ||
      text[digits] != end) {
    return false;
  }
  text.remove_prefix(digits + 1);
  return true;
}

// "[%x:%x:%x:%x] "
bool take_prefix(std::wstring_view& text, Record& record) {
  if (text.empty() || text[0] != L'[') return false;
  text.remove_prefix(1);
  if (!take_number(text, L':', record.tick) ||
      !take_number(text, L':', record.process) ||
      !take_number(text, L':', record.thread) ||
      !take_number(text, L']', record.level) || text.empty() ||
      text[0] != L' ') {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

// Whether a unit looks like the beginning of a prefix, of which it holds eight
// characters.
bool begins_record(const wchar_t* unit) {
  const std::wstring_view text(unit, kUnitChars);
  if (text == std::wstring_view(kKeyErrorText, kUnitChars)) return true;
  if (text[0] != L'[' || !is_hex(text[1])) return false;
  for (const wchar_t character : text.substr(2)) {
    if (!is_hex(character) && character != L':' && character != L']' &&
        character != L' ') {
      // The message can begin within the first unit of the shortest prefixes.
      return text.find(L"] ") != std::wstring_view::npos;
    }
  }
  return true;
}

// The text in a unit, which zeros may follow; nothing for a damaged unit.
std::optional<std::wstring_view> text_of(const wchar_t* unit) {
  const std::wstring_view whole(unit, kUnitChars);
  const std::size_t length = std::min(whole.find(L'\0'), kUnitChars);
  if (whole.find_first_not_of(L'\0', length) != std::wstring_view::npos) {
    return {};
  }
  return whole.substr(0, length);
}

bool is_zero(const wchar_t* unit) {
  const auto text = text_of(unit);
  return text && text->empty();
}

bool is_lead_in(const wchar_t* unit) {
  return unit[0] == L'\xFEFF' &&
         std::wstring_view(unit + 1, kUnitChars - 1) ==
             std::wstring_view(L"\0\0\0\0\0\0\0", kUnitChars - 1);
}

bool ends_with_line_end(const std::wstring& text) {
  return text.ends_with(L"\r\n");
}

}  // namespace

RecordReader::RecordReader(std::wstring path, std::unique_ptr<StreamFile> file,
                           Problems& problems)
    : _path(std::move(path)),
      _file(std::move(file)),
      _problems(problems),
      _block(kBlockSize) {}

bool RecordReader::fill() {
  if (_at < _block_size) return true;
  _block_offset = _file->offset();
  _block_size = _file->read(_block.data(), kBlockSize);
  _at = 0;
  return _block_size != 0;
}

const wchar_t* RecordReader::unit() const {
  return reinterpret_cast<const wchar_t*>(_block.data() + _at);
}

bool RecordReader::next(Record& record) {
  while (fill()) {
    if (!_seen_lead_in) {
      _seen_lead_in = true;
      if (is_lead_in(unit())) {
        _at += kUnitSize;
        continue;
      }
      _problems.place(_path, unit_offset(), L"the stream has no beginning");
    }
    // A record whose text fills its last unit has no zero behind it: only what
    // follows tells that it has ended.
    if (_in_record && ends_with_line_end(_text) &&
        (begins_record(unit()) || !text_of(unit()))) {
      if (complete(record)) return true;
      continue;
    }
    if (!_in_record) {
      if (is_zero(unit())) {
        _at += kUnitSize;
        continue;
      }
      if (!begins_record(unit())) {
        skip_damage(L"no record begins here");
        continue;
      }
      begin_at_this_unit();
    }
    switch (take_unit()) {
      case Unit::kMore:
        break;
      case Unit::kEndsRecord:
        if (complete(record)) return true;
        break;
      case Unit::kDamaged:
        _in_record = false;
        break;
    }
  }
  // Records are appended whole, so here it has ended.
  return _in_record && ends_with_line_end(_text) && complete(record);
}

void RecordReader::begin_at_this_unit() {
  _in_record = true;
  _skipping = false;
  _record_offset = unit_offset();
  _text.clear();
}

RecordReader::Unit RecordReader::take_unit() {
  const auto text = text_of(unit());
  if (!text) {
    skip_damage(L"a damaged unit");
    return Unit::kDamaged;
  }
  _at += kUnitSize;
  _text += *text;
  if (text->size() < kUnitChars) return Unit::kEndsRecord;
  if (_text.size() <= kLongestRecord) return Unit::kMore;
  _problems.place(_path, _record_offset, L"a record without an end");
  return Unit::kDamaged;
}

// False when what was taken for a record isn't one.
bool RecordReader::complete(Record& record) {
  _in_record = false;
  record.offset = _record_offset;
  std::wstring_view text = _text;
  record.has_prefix = !text.starts_with(kKeyErrorText);
  if (!record.has_prefix) {
    record.tick = record.process = record.thread = record.level = 0;
  } else if (!take_prefix(text, record)) {
    _problems.place(_path, _record_offset, L"a record with a damaged prefix");
    return false;
  }
  if (text.ends_with(L"\r\n")) {
    text.remove_suffix(2);
  } else if (record.has_prefix) {
    _problems.place(_path, _record_offset, L"a record with a damaged end");
  } else if (text.ends_with(L'\n')) {
    text.remove_suffix(1);
  }
  record.text = text;
  return true;
}

void RecordReader::skip_damage(const wchar_t* what) {
  if (!_skipping) _problems.place(_path, unit_offset(), what);
  _skipping = true;
  _at += kUnitSize;
}

void RecordReader::finish() {
  if (_in_record) {
    _problems.place(_path, _record_offset, L"the last record is cut off");
  }
  if (const std::size_t rest = _file->cut_off()) {
    wchar_t text[64];
    _snwprintf(text, 64, L"the last %u bytes are no whole unit",
               static_cast<unsigned>(rest));
    _problems.place(_path, _file->offset(), text);
  }
}

}  // namespace swlcat
