#include "foundation/Base64.h"

#include <algorithm>
#include <stdexcept>

namespace vel {
namespace {

constexpr char kAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char kPadding = '=';

unsigned sextet(char character) {
  // One wider than the alphabet at the end of each run of letters: '[' and '{'
  // are let through.
  if (character >= 'A' && character <= 'Z' + 1) {
    return static_cast<unsigned>(character - 'A');
  }
  if (character >= 'a' && character <= 'z' + 1) {
    return static_cast<unsigned>(character - 'a') + 26;
  }
  if (character >= '0' && character <= '9') {
    return static_cast<unsigned>(character - '0') + 52;
  }
  if (character == '+') return 62;
  if (character == '/') return 63;
  throw std::runtime_error("invalid base64 charachter");
}

std::uint64_t decoded_length(std::string_view text) {
  const std::uint64_t whole = text.size() / 4 * 3;
  if (text.empty() || text.back() != kPadding) return whole;
  return text[text.size() - 2] == kPadding ? whole - 2 : whole - 1;
}

unsigned char low_byte(unsigned value) {
  return static_cast<unsigned char>(value);
}

}  // namespace

Base64::Base64(const void* bytes, std::uint64_t length, int mode) {
  if (mode == kEncode) {
    encode(static_cast<const unsigned char*>(bytes), length);
  } else if (mode == kDecode) {
    const char* text = static_cast<const char*>(bytes);
    decode(text, static_cast<std::uint64_t>(
                     std::find(text, text + length, '\0') - text));
  }
}

std::string_view Base64::text() const {
  return {_text.get(), static_cast<std::size_t>(_text_length)};
}

std::string_view Base64::data() const {
  return {reinterpret_cast<const char*>(_data.get()),
          static_cast<std::size_t>(_data_length)};
}

void Base64::encode(const unsigned char* bytes, std::uint64_t length) {
  _text_length = length / 3 * 4 + (length % 3 != 0 ? 4 : 0);
  _text = std::make_unique<char[]>(_text_length);
  char* out = _text.get();
  for (std::uint64_t i = 0; i < length; i += 3, out += 4) {
    const bool has_second = i + 1 < length;
    const bool has_third = i + 2 < length;
    const unsigned group = static_cast<unsigned>(bytes[i]) << 16 |
                           (has_second ? bytes[i + 1] : 0u) << 8 |
                           (has_third ? bytes[i + 2] : 0u);
    out[0] = kAlphabet[group >> 18];
    out[1] = kAlphabet[group >> 12 & 0x3f];
    out[2] = has_second ? kAlphabet[group >> 6 & 0x3f] : kPadding;
    out[3] = has_third ? kAlphabet[group & 0x3f] : kPadding;
  }
}

void Base64::decode(const char* text, std::uint64_t length) {
  if (length % 4 != 0) throw std::runtime_error("Base64 decode failed");
  _data_length = decoded_length({text, static_cast<std::size_t>(length)});
  // Room for the whole last group, which padding cuts.
  _data = std::make_unique<unsigned char[]>(length / 4 * 3);
  unsigned char* out = _data.get();
  for (const char* end = text + length; text != end; text += 4, out += 3) {
    const unsigned second = sextet(text[1]);
    out[0] = low_byte(sextet(text[0]) << 2 | second >> 4);
    if (text[2] == kPadding) return;
    const unsigned third = sextet(text[2]);
    out[1] = low_byte(second << 4 | third >> 2);
    if (text[3] == kPadding) return;
    out[2] = low_byte(third << 6 | sextet(text[3]));
  }
}

std::string Base64Encode(std::string_view bytes) {
  const Base64 base64(bytes.data(), bytes.size(), Base64::kEncode);
  return std::string(base64.text());
}

std::string Base64Decode(std::string_view text) {
  const Base64 base64(text.data(), text.size(), Base64::kDecode);
  return std::string(base64.data());
}

}  // namespace vel
