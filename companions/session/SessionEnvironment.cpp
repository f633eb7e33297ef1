#include "session/SessionEnvironment.h"

#include <windows.h>

#include <cwchar>
#include <map>

namespace velul {
namespace {

// The order that Windows wants the block in.
struct NameLess {
  bool operator()(const std::wstring& a, const std::wstring& b) const {
    return CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()),
                                b.c_str(), static_cast<int>(b.size()),
                                TRUE) == CSTR_LESS_THAN;
  }
};
using Environment = std::map<std::wstring, std::wstring, NameLess>;

Environment own_environment() {
  Environment result;
  wchar_t* const block = GetEnvironmentStringsW();
  if (!block) return result;
  for (const wchar_t* line = block; *line; line += wcslen(line) + 1) {
    // A drive's current directory stands under a name like "=C:".
    const wchar_t* const equals = wcschr(line + 1, L'=');
    if (equals) result[std::wstring(line, equals)] = equals + 1;
  }
  FreeEnvironmentStringsW(block);
  return result;
}

}  // namespace

std::wstring make_environment(const EnvironmentChanges& changes) {
  Environment environment = own_environment();
  for (const auto& [name, value] : changes) {
    if (value.empty()) {
      environment.erase(name);
    } else {
      environment[name] = value;
    }
  }
  std::wstring block;
  for (const auto& [name, value] : environment) {
    block.append(name).append(1, L'=').append(value).append(1, L'\0');
  }
  // The end is an empty line; the string's own terminator is the second zero
  // of an empty block.
  block.append(1, L'\0');
  return block;
}

}  // namespace velul
