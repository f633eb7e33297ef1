#ifndef VEL_TOOLS_SWLCAT_UTF8_H_
#define VEL_TOOLS_SWLCAT_UTF8_H_

#include <windows.h>

#include <string>
#include <string_view>

namespace swlcat {

// Appends the text; a lone surrogate becomes U+FFFD.
inline void append_utf8(std::string& target, std::wstring_view text) {
  if (text.empty()) return;
  const std::size_t before = target.size();
  const int length = static_cast<int>(text.size());
  target.resize(before + text.size() * 3);
  const int size = WideCharToMultiByte(
      CP_UTF8, 0, text.data(), length, target.data() + before,
      static_cast<int>(text.size() * 3), nullptr, nullptr);
  target.resize(before + static_cast<std::size_t>(size));
}

inline std::string utf8(std::wstring_view text) {
  std::string result;
  append_utf8(result, text);
  return result;
}

}  // namespace swlcat

#endif  // VEL_TOOLS_SWLCAT_UTF8_H_
