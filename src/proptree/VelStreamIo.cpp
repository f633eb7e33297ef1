#include "proptree/VelStreamIo.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace vel {
namespace {

// A length is believed only as far as bytes come for it.
constexpr std::size_t kPieceChars = 0x100000;

}  // namespace

template <typename String>
bool VelStreamIo::write_string(const String& text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("String too long");
  }
  if (!WriteU32(static_cast<std::uint32_t>(text.size()))) return false;
  constexpr std::size_t kUnit = sizeof(typename String::value_type);
  for (std::size_t at = 0; at < text.size(); at += kPieceChars) {
    const std::size_t piece = std::min(kPieceChars, text.size() - at);
    if (!_stream->Write(text.data() + at, piece * kUnit)) return false;
  }
  return true;
}

template <typename String>
bool VelStreamIo::read_string(String& text) {
  text.clear();
  std::uint32_t length = 0;
  if (!ReadU32(length)) return false;
  constexpr std::size_t kUnit = sizeof(typename String::value_type);
  constexpr typename String::value_type kZero = 0;
  while (text.size() < length) {
    const std::size_t at = text.size();
    const std::size_t piece = std::min<std::size_t>(kPieceChars, length - at);
    text.resize(at + piece);
    if (_stream->Read(text.data() + at, piece * kUnit)) continue;
    // What didn't come is still zero.
    text.resize(std::max(at, text.find_last_not_of(kZero) + 1));
    return false;
  }
  return true;
}

bool VelStreamIo::WriteNarrow(const std::string& text) {
  return write_string(text);
}

bool VelStreamIo::WriteWide(const std::wstring& text) {
  return write_string(text);
}

bool VelStreamIo::ReadNarrow(std::string& text) {
  return read_string(text);
}

bool VelStreamIo::ReadWide(std::wstring& text) {
  return read_string(text);
}

}  // namespace vel
