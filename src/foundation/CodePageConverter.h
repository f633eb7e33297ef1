// Conversions between narrow and wide text, for what stays narrow bytes inside:
// web replies and the browsers' files. They keep the thread's last error and
// have no state but the code page. Any thread.
#ifndef VEL_FOUNDATION_CODEPAGECONVERTER_H_
#define VEL_FOUNDATION_CODEPAGECONVERTER_H_

#include <cstdint>
#include <string>

namespace vel {

// Converts text of one code page. An empty text gives an empty one, and so does
// a text that can't be converted whole.
class CodePageConverter {
 public:
  // A Windows code page number; 0 is the system's ANSI code page.
  explicit CodePageConverter(std::uint32_t code_page) : _code_page(code_page) {}
  CodePageConverter(const CodePageConverter&) = default;
  CodePageConverter& operator=(const CodePageConverter&) = default;
  virtual ~CodePageConverter() = default;

  virtual std::string to_utf8(const std::string& text) const;
  virtual std::wstring to_wide(const std::string& text) const;
  // A character that the code page lacks becomes the system's substitute.
  virtual std::string from_wide(const std::wstring& text) const;
  virtual std::string from_utf8(const std::string& text) const;

 private:
  std::uint32_t _code_page;
};

// `text` in the ANSI code page.
std::string narrow(const std::wstring& text);

// ANSI text as wide text of the same length: where a character took two bytes
// the result ends in zeros, one for each. Kept on purpose; WideFromAnsi and
// CodePageConverter give the text alone.
std::wstring widen(const std::string& text);

}  // namespace vel

#endif  // VEL_FOUNDATION_CODEPAGECONVERTER_H_
