#include "foundation/CodePageConverter.h"

#include <windows.h>

#include "sync/LastErrorKeeper.h"

namespace vel {

std::string CodePageConverter::to_utf8(const std::string& text) const {
  return CodePageConverter(CP_UTF8).from_wide(to_wide(text));
}

std::wstring CodePageConverter::to_wide(const std::string& text) const {
  if (text.empty()) return {};
  const LastErrorKeeper keeper;
  const int length = static_cast<int>(text.size());
  const int needed =
      MultiByteToWideChar(_code_page, 0, text.data(), length, nullptr, 0);
  if (needed <= 0) return {};
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  const int written = MultiByteToWideChar(_code_page, 0, text.data(), length,
                                          wide.data(), needed);
  return written == needed ? wide : std::wstring();
}

std::string CodePageConverter::from_wide(const std::wstring& text) const {
  if (text.empty()) return {};
  const LastErrorKeeper keeper;
  const int length = static_cast<int>(text.size());
  const int needed = WideCharToMultiByte(_code_page, 0, text.data(), length,
                                         nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string bytes(static_cast<std::size_t>(needed), '\0');
  const int written =
      WideCharToMultiByte(_code_page, 0, text.data(), length, bytes.data(),
                          needed, nullptr, nullptr);
  return written == needed ? bytes : std::string();
}

std::string CodePageConverter::from_utf8(const std::string& text) const {
  return from_wide(CodePageConverter(CP_UTF8).to_wide(text));
}

std::string narrow(const std::wstring& text) {
  return CodePageConverter(CP_ACP).from_wide(text);
}

std::wstring widen(const std::string& text) {
  const LastErrorKeeper keeper;
  std::wstring wide(text.size(), L'\0');
  const int with_zero = static_cast<int>(text.size() + 1);
  MultiByteToWideChar(CP_ACP, 0, text.c_str(), with_zero, wide.data(),
                      with_zero);
  return wide;
}

}  // namespace vel
