#include "browser/PcreRegex.h"

#include <pcre.h>

#include <climits>
#include <stdexcept>

#include "sync/Trap.h"

namespace vel {
namespace {

int checked_length(const std::string& subject) {
  if (subject.size() > INT_MAX) vel_trap();
  return static_cast<int>(subject.size());
}

}  // namespace

PcreRegex::PcreRegex(const std::string& pattern) {
  const char* error = nullptr;
  int error_offset = 0;
  _pattern.reset(
      pcre_compile(pattern.c_str(), 0, &error, &error_offset, nullptr),
      [](pcre* compiled) { pcre_free(compiled); });
  if (!_pattern) throw std::runtime_error(error ? error : "Unknown error");

  error = nullptr;
  _study.reset(pcre_study(_pattern.get(), 0, &error), pcre_free_study);
  if (error) throw std::runtime_error(error);

  if (pcre_fullinfo(_pattern.get(), _study.get(), PCRE_INFO_CAPTURECOUNT,
                    &_captures) != 0) {
    throw std::runtime_error("Failed to query cauptures count");
  }
  // The library wants three entries for each range.
  _offsets.resize(4 * (static_cast<std::size_t>(_captures) + 1));
}

bool PcreRegex::match(const std::string& subject) const {
  return pcre_exec(_pattern.get(), _study.get(), subject.data(),
                   checked_length(subject), 0, 0, nullptr, 0) >= 0;
}

bool PcreRegex::search(const std::string& subject, std::vector<Range>& out) {
  if (pcre_exec(_pattern.get(), _study.get(), subject.data(),
                checked_length(subject), 0, 0, _offsets.data(),
                static_cast<int>(_offsets.size())) < 0) {
    return false;
  }
  for (std::size_t i = 0; i <= static_cast<std::size_t>(_captures); ++i) {
    out.emplace_back(_offsets[2 * i], _offsets[2 * i + 1]);
  }
  return true;
}

}  // namespace vel
