// Standard Base64: "=" for padding, no line breaks.
//
// Failures are std::runtime_error: "invalid base64 charachter" for text that
// isn't Base64, "Base64 decode failed" for a length that isn't a multiple of 4.
// The reader takes '[' and '{' too, as 26 and 52, which is kept as it stands.
#ifndef VEL_FOUNDATION_BASE64_H_
#define VEL_FOUNDATION_BASE64_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vel {

// Does its work in the constructor and keeps the result.
class Base64 {
 public:
  static constexpr int kEncode = 0;
  static constexpr int kDecode = 1;

  // Encodes or decodes `length` bytes; text to decode ends at its first zero,
  // if there is one. Any other mode does nothing.
  Base64(const void* bytes, std::uint64_t length, int mode);
  Base64(const Base64&) = delete;
  Base64& operator=(const Base64&) = delete;

  // The result of kEncode.
  std::string_view text() const;
  // The result of kDecode.
  std::string_view data() const;

 private:
  void encode(const unsigned char* bytes, std::uint64_t length);
  void decode(const char* text, std::uint64_t length);

  std::unique_ptr<char[]> _text;
  std::unique_ptr<unsigned char[]> _data;
  std::uint64_t _text_length = 0;
  std::uint64_t _data_length = 0;
};

std::string Base64Encode(std::string_view bytes);
std::string Base64Decode(std::string_view text);

}  // namespace vel

#endif  // VEL_FOUNDATION_BASE64_H_
