#include "foundation/CommandLine.h"

#include <cerrno>
#include <cstdlib>

#include "foundation/Environment.h"
#include "foundation/ReplaceChars.h"

namespace vel {
namespace {

constexpr wchar_t kEscape = L'\x7';
constexpr wchar_t kQuote = L'"';
constexpr wchar_t kValueEnd = L'\r';
constexpr int kDecimal = 10;

// The character that stands for the digit behind the escape, or -1.
int unescaped(wchar_t digit) {
  switch (digit) {
    case L'1':
      return kEscape;
    case L'2':
      return kQuote;
    case L'3':
      return 0;
    default:
      return -1;
  }
}

// The pair that stands for a character, or nothing.
std::wstring_view escape_pair(wchar_t character) {
  switch (character) {
    case kEscape:
      return L"\a1";
    case kQuote:
      return L"\a2";
    case 0:
      return L"\a3";
    default:
      return {};
  }
}

std::wstring scan_value(const std::wstring& cmd_line,
                        const std::wstring& pattern, bool single) {
  std::wstring result;
  std::size_t found = cmd_line.find(pattern);
  while (found != std::wstring::npos) {
    const std::size_t begin = found + pattern.size();
    const std::size_t end = cmd_line.find(kQuote, begin);
    if (end == std::wstring::npos) break;
    if (single) result.clear();
    result.append(cmd_line, begin, end - begin);
    if (!single) result += kValueEnd;
    found = cmd_line.find(pattern, end + 1);
  }
  unescape_value(result);
  return result;
}

}  // namespace

std::wstring get_param(const std::wstring& cmd_line, std::wstring_view key,
                       bool single) {
  const std::wstring lead_in = L"/" + std::wstring(key) + L"=";
  std::wstring value = scan_value(cmd_line, lead_in + L"\"", single);
  if (value.empty()) value = scan_value(cmd_line, lead_in + L" \"", single);
  return value;
}

void get_param_list(const std::wstring& cmd_line, std::wstring_view key,
                    std::vector<std::wstring>& list) {
  const std::wstring values = get_param(cmd_line, key, false);
  std::size_t begin = 0;
  std::size_t end = 0;
  while ((end = values.find(kValueEnd, begin)) != std::wstring::npos) {
    if (end != begin) list.push_back(values.substr(begin, end - begin));
    begin = end + 1;
  }
}

std::uint32_t get_uint_param(const std::wstring& cmd_line,
                             std::wstring_view key,
                             std::uint32_t default_value) {
  const std::wstring text = get_param(cmd_line, key);
  if (text.empty()) return default_value;
  errno = 0;
  const int value = _wtoi(text.c_str());
  if (value == 0 && errno != 0) return default_value;
  return static_cast<std::uint32_t>(value);
}

void add_param(std::wstring& out, std::wstring_view key,
               std::wstring_view value) {
  std::wstring escaped(value);
  escape_value(escaped);
  out += out.empty() ? L"/" : L" /";
  out += key;
  out += L"=\"";
  out += escaped;
  out += kQuote;
}

void add_param(std::wstring& out, std::wstring_view key, int number) {
  wchar_t digits[16];
  add_param(out, key, std::wstring_view(_itow(number, digits, kDecimal)));
}

void escape_value(std::wstring& text) {
  ReplaceChars(text, &escape_pair);
}

void unescape_value(std::wstring& text) {
  std::size_t written = 0;
  for (std::size_t i = 0; i < text.size(); ++i, ++written) {
    text[written] = text[i];
    if (text[i] != kEscape || i + 1 == text.size()) continue;
    const int character = unescaped(text[i + 1]);
    if (character < 0) continue;
    text[written] = static_cast<wchar_t>(character);
    ++i;
  }
  text.resize(written);
}

void apply_env_params(const std::wstring& cmd_line) {
  std::vector<std::wstring> settings;
  get_param_list(cmd_line, L"env", settings);
  for (const std::wstring& setting : settings) {
    const std::size_t divider = setting.find(L'=');
    std::wstring value;
    if (divider != std::wstring::npos) value = setting.substr(divider + 1);
    const std::wstring expanded = expand_env(value, true);
    if (!expanded.empty()) value = expanded;
    set_env(setting.substr(0, divider), value, true);
  }
}

}  // namespace vel
