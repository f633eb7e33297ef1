#include "session/CommandTemplate.h"

#include <cwchar>
#include <cwctype>

namespace velul {
namespace {

// What stands for the place `%<letter>`; null when that is no place.
const std::wstring* value_of(wchar_t letter,
                             const CommandArguments& arguments) {
  static const std::wstring percent = L"%";
  static const std::wstring nothing;
  switch (std::towlower(letter)) {
    case L'1':
    case L'l':
    case L'd':
    case L'v':
      return &arguments.file;
    case L'*':
      return &arguments.parameters;
    case L'w':
      return &arguments.directory;
    case L'%':
      return &percent;
    default:
      return std::wcschr(L"023456789his", std::towlower(letter)) && letter
                 ? &nothing
                 : nullptr;
  }
}

}  // namespace

std::wstring fill_command_template(const std::wstring& command_template,
                                   const CommandArguments& arguments) {
  std::wstring result;
  bool file_placed = false;
  for (std::size_t at = 0; at < command_template.size(); ++at) {
    const wchar_t letter = command_template[at];
    const std::wstring* value = nullptr;
    if (letter == L'%' && at + 1 < command_template.size()) {
      value = value_of(command_template[at + 1], arguments);
    }
    if (!value) {
      result += letter;
      continue;
    }
    file_placed |= value == &arguments.file;
    result += *value;
    ++at;
  }
  if (!file_placed && !arguments.file.empty()) {
    result += L" " + quoted(arguments.file);
  }
  return result;
}

std::wstring program_of(const std::wstring& command_line) {
  if (!command_line.empty() && command_line[0] == L'"') {
    return command_line.substr(1, command_line.find(L'"', 1) - 1);
  }
  return command_line.substr(0, command_line.find(L' '));
}

std::wstring quoted(const std::wstring& text) {
  return L"\"" + text + L"\"";
}

}  // namespace velul
