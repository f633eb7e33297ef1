#include "swlcat/RecordReader.h"

#include <algorithm>
#include <cstring>

namespace swlcat {
namespace {

constexpr std::size_t kBlockSize = 0x10000;  // bytes
constexpr std::size_t kLookAhead = kUnitSize + kBeginBytes;
// Longer than any record that the log writes, in code units.
constexpr std::size_t kLongestRecord = 0x110000;

bool ends_with_line_end(const std::wstring& text) {
  return text.ends_with(L"\r\n");
}

}  // namespace

RecordReader::RecordReader(std::wstring path, std::unique_ptr<StreamFile> file,
                           Problems& problems)
    : _path(std::move(path)),
      _file(std::move(file)),
      _problems(problems),
      _block(kBlockSize),
      _block_offset(_file->begin()) {}

// Makes the unit at hand available, and the prefix after it.
bool RecordReader::fill() {
  const std::size_t rest = _block_size - _at;
  if (rest < kLookAhead) {
    std::memmove(_block.data(), _block.data() + _at, rest);
    _block_offset += _at;
    _at = 0;
    _block_size = rest + _file->read(_block_offset + rest, _block.data() + rest,
                                     kBlockSize - rest);
  }
  return _block_size - _at >= kUnitSize;
}

void RecordReader::move_to(std::uint64_t offset) {
  _block_offset = offset;
  _block_size = _at = 0;
}

std::wstring_view RecordReader::ahead(std::size_t chars) const {
  return {reinterpret_cast<const wchar_t*>(_block.data() + _at),
          std::min(chars, (_block_size - _at) / sizeof(wchar_t))};
}

bool RecordReader::next(Record& record) {
  Step step = Step::kGoOn;
  while (step == Step::kGoOn) {
    if (_lost) {
      step = find_next();
    } else if (!fill()) {
      step = at_end(record);
    } else {
      step = _in_record ? go_on(record) : begin();
      if (step == Step::kGoOn && _in_record) step = take_unit(record);
    }
  }
  return step == Step::kRecord;
}

RecordReader::Step RecordReader::begin() {
  if ((!_seen_lead_in && finds_lead_in()) || is_zero(unit())) {
    _at += kUnitSize;
    return Step::kGoOn;
  }
  switch (begins_record(ahead(kBeginChars))) {
    case Match::kNo:
      return lose(L"no record begins here");
    case Match::kPartly:
      return Step::kWait;
    case Match::kYes:
      break;
  }
  _in_record = true;
  _is_damaged = false;
  _record_offset = offset();
  _text.clear();
  return Step::kGoOn;
}

bool RecordReader::finds_lead_in() {
  _seen_lead_in = true;
  if (is_lead_in(unit())) return true;
  if (begins_record(ahead(kBeginChars)) == Match::kYes) {
    _problems.warning(_path, L"the stream has no beginning; all else is read");
  }
  return false;
}

// At a later unit of a record.
RecordReader::Step RecordReader::go_on(Record& record) {
  const Match match = begins_record(ahead(kBeginChars));
  // A record whose text fills its last unit has no zero after it: only what
  // follows tells that it has ended.
  const bool may_end = ends_with_line_end(_text);
  if (match == Match::kYes || (may_end && match == Match::kPartly) ||
      (may_end && (!text_of(unit()) || is_implausible(unit())))) {
    return complete(record);
  }
  return Step::kGoOn;
}

RecordReader::Step RecordReader::take_unit(Record& record) {
  const auto text = text_of(unit());
  if (!text) return take_damaged(record);
  if (is_implausible(*text)) return take_implausible(record, *text);
  _at += kUnitSize;
  _text += *text;
  if (text->size() < kUnitChars) {
    // What is cut off may be the beginning of the next record, off the units.
    const bool is_whole = ends_with_line_end(_text) || is_key_error(_text);
    const auto hidden =
        is_whole ? std::nullopt : _search.next(_record_offset + 1);
    return hidden && *hidden < offset() ? give_up(record, L"a damaged record")
                                        : complete(record);
  }
  if (_text.size() > kLongestRecord) {
    return give_up(record, L"a record without an end");
  }
  return Step::kGoOn;
}

// Text after zeros. A record that ends ahead of them is there, but bytes are
// missing in it or before what follows.
RecordReader::Step RecordReader::take_damaged(Record& record) {
  const std::wstring_view text = unit().substr(0, unit().find(L'\0'));
  if (!ends_with_line_end(_text + std::wstring(text))) {
    return give_up(record, L"a damaged unit");
  }
  _text += text;
  move_to(offset() + text.size() * sizeof(wchar_t));
  _is_damaged = true;
  return complete(record);
}

// Only the cipher makes a unit that was written look like this.
bool RecordReader::is_implausible(std::wstring_view unit) const {
  const auto text = text_of(unit);
  return _file->is_enciphered() && text && !is_plausible(*text);
}

RecordReader::Step RecordReader::take_implausible(Record& record,
                                                  std::wstring_view text) {
  if (ends_cut_write()) {
    _at += kUnitSize;
    return complete(record);
  }
  const auto found = _search.next(offset() + 1);
  const bool is_shifted = found && (*found - offset()) % kUnitSize != 0;
  const std::wstring_view both = ahead(2 * kUnitChars);
  if (is_shifted || is_implausible(both.substr(kUnitChars))) {
    return give_up(record, L"a damaged unit of the cipher");
  }
  _problems.place(_path, offset(), L"a damaged unit of the cipher");
  _at += kUnitSize;
  _text += text;
  return Step::kGoOn;
}

// Whether this unit was left unfinished, and filled up by the next write.
bool RecordReader::ends_cut_write() const {
  unsigned char last = 1;
  return _file->read_raw(offset() + kUnitSize - 1, &last, 1) == 1 &&
         last == 0 &&
         begins_record(ahead(kBeginChars + kUnitChars).substr(kUnitChars)) ==
             Match::kYes;
}

RecordReader::Step RecordReader::at_end(Record& record) {
  if (!_in_record) return Step::kWait;
  const bool has_end = ends_with_line_end(_text);
  // Records are appended whole, so here it has ended, unless damage has hidden
  // the beginning of another one.
  if (has_end && cut_off() == 0) return complete(record);
  const bool is_shifted = !has_end && cut_off() != 0 && file_has_end();
  if (is_shifted || _search.next(_record_offset + 1)) {
    return give_up(record, L"a damaged record");
  }
  return has_end ? complete(record) : Step::kWait;
}

std::uint64_t RecordReader::cut_off() const {
  const std::uint64_t end = _file->size();
  return end > offset() ? (end - offset()) % kUnitSize : 0;
}

// Whether the file ends as a record does, on a unit or off it.
bool RecordReader::file_has_end() const {
  constexpr unsigned char kLineEnd[] = {L'\r', 0, L'\n'};
  unsigned char bytes[3 * kUnitSize];
  const std::uint64_t end = _file->size();
  if (_file->is_enciphered() || end < sizeof bytes) return false;
  _file->read_raw(end - sizeof bytes, bytes, sizeof bytes);
  const unsigned char* last = bytes + sizeof bytes;
  while (last != bytes && last[-1] == 0) --last;
  return last - bytes >= 3 && std::equal(last - 3, last, kLineEnd);
}

// Gives the record in hand.
RecordReader::Step RecordReader::complete(Record& record) {
  if (const auto end = find_prefix(_text)) split(*end);
  _in_record = false;
  record.offset = _record_offset;
  std::wstring_view text = _text;
  record.has_prefix = !is_key_error(text);
  if (record.has_prefix) {
    take_prefix(text, record);
  } else {
    record.tick = record.process = record.thread = record.level = 0;
  }
  const bool has_end = text.ends_with(record.has_prefix ? L"\r\n" : L"\n");
  if (has_end) text.remove_suffix(record.has_prefix ? 2 : 1);
  if (_is_damaged || !has_end) {
    _problems.place(_path, _record_offset,
                    has_end ? L"a damaged record" : L"a record is cut off");
  }
  record.text = text;
  return Step::kRecord;
}

// The record in hand is damaged here. When it turns out to be a whole one and
// what follows it, that one is given.
RecordReader::Step RecordReader::give_up(Record& record, const wchar_t* what) {
  if (find_prefix(_text)) return complete(record);
  for (std::size_t end = 0;
       (end = _text.find(L"\r\n", end)) != std::wstring::npos;) {
    end += 2;
    if (end % kUnitChars != 0 || end == _text.size()) continue;
    split(end);
    return complete(record);
  }
  return lose(what);
}

// The record ends at this place of its text, with the bytes that it lacks if
// that is no border of units.
void RecordReader::split(std::size_t end) {
  _text.resize(end);
  _is_damaged = _is_damaged || end % kUnitChars != 0;
  move_to(_record_offset + end * sizeof(wchar_t));
}

RecordReader::Step RecordReader::lose(const wchar_t* what) {
  _lost = true;
  const std::uint64_t from = _in_record ? _record_offset : offset();
  const bool is_at_end = _block_size - _at < kUnitSize;
  _damage = {what, is_at_end ? from : offset(), from};
  _in_record = false;
  return Step::kGoOn;
}

RecordReader::Step RecordReader::find_next() {
  const auto found = _search.next(_damage.from + 1);
  if (!found) return Step::kWait;
  _lost = false;
  if (!is_filler(_damage.from, *found)) {
    _problems.passed_over(_path, _damage.offset, _damage.what, _damage.from,
                          *found);
  }
  move_to(*found);
  return Step::kGoOn;
}

// Zeros up to the next unit, behind a record that stands off the units.
bool RecordReader::is_filler(std::uint64_t from, std::uint64_t to) const {
  unsigned char bytes[kUnitSize];
  if (to - from >= kUnitSize) return false;
  const std::size_t count =
      _file->read_raw(from, bytes, static_cast<std::size_t>(to - from));
  return std::all_of(bytes, bytes + count,
                     [](unsigned char byte) { return byte == 0; });
}

void RecordReader::finish() {
  if (_in_record && file_has_end()) lose(L"a damaged record");
  const std::uint64_t end = _file->size();
  if (_lost) {
    _problems.passed_over(_path, _damage.offset, _damage.what, _damage.from,
                          end);
    return;
  }
  if (_in_record || _block_size - _at >= kUnitSize) {
    _problems.place(_path, _in_record ? _record_offset : offset(),
                    L"the last record is cut off");
  }
  if (const std::uint64_t rest = cut_off()) {
    _problems.cut_unit(_path, end - rest, rest);
  }
}

}  // namespace swlcat
