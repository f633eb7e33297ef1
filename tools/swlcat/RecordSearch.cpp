#include "swlcat/RecordSearch.h"

#include <algorithm>

#include "swlcat/RecordText.h"

namespace swlcat {
namespace {

constexpr std::size_t kStepBytes = 0x2000;
constexpr std::size_t kReadBytes = kStepBytes + kBeginBytes;

// The first unit of the step that begins a record; kStepBytes when none does.
std::size_t first_begin(const unsigned char* bytes, std::size_t count) {
  for (std::size_t at = 0; at < std::min(count, kStepBytes); at += kUnitSize) {
    const std::size_t rest = std::min(count - at, kBeginBytes);
    const std::wstring_view text(reinterpret_cast<const wchar_t*>(bytes + at),
                                 rest / sizeof(wchar_t));
    if (begins_record(text) == Match::kYes) return at;
  }
  return kStepBytes;
}

}  // namespace

std::optional<std::uint64_t> RecordSearch::next(std::uint64_t offset) {
  if (offset < _from || offset > _to) {
    _from = _to = offset;
    _found = false;
  }
  while (!_found && look()) {
  }
  if (!_found) return {};
  return _to;
}

bool RecordSearch::look() {
  _buffer.resize(kReadBytes);
  std::size_t best = kStepBytes;
  std::size_t whole = 0;
  for (std::size_t phase = 0; phase < kUnitSize; ++phase) {
    const std::size_t count =
        _file.read(_to + phase, _buffer.data(), kReadBytes);
    if (phase == 0) whole = count;
    best = std::min(best, phase + first_begin(_buffer.data(), count));
  }
  _found = best < kStepBytes;
  if (_found || whole == kReadBytes) {
    _to += best;
    return true;
  }
  // The last places are looked at again: more may follow them.
  if (whole > kBeginBytes) _to += whole - kBeginBytes;
  return false;
}

}  // namespace swlcat
