#include "browser/ProgramSearch.h"

#include <iterator>
#include <string_view>

#include "foundation/Environment.h"
#include "foundation/LongPath.h"
#include "foundation/PathParts.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"

namespace vel {
namespace {

constexpr wchar_t kAppPathsKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";
constexpr wchar_t kOwnValue[] = L"_Brindlemar";
constexpr std::size_t kSearchRoom = 261;
constexpr auto npos = std::wstring::npos;

// SearchPathW; a null directory means the system's search path.
std::wstring search_path(const wchar_t* directory, const std::wstring& name,
                         const std::wstring& ext) {
  wchar_t found[kSearchRoom];
  const DWORD length =
      SearchPathW(directory, name.c_str(), ext.c_str(),
                  static_cast<DWORD>(std::size(found)), found, nullptr);
  return length < std::size(found) ? std::wstring(found, length)
                                   : std::wstring();
}

// One key below App Paths.
struct AppPathsKey {
  AppPathsKey(HKEY owner, const std::wstring& name, std::uint32_t which)
      : root(owner), path(kAppPathsKey + name), view(which) {}

  std::wstring read(const wchar_t* value) const {
    return RegGetString(root, path, value, view);
  }
  std::wstring target() const {
    const std::wstring own = read(kOwnValue);
    return own.empty() ? read(L"") : own;
  }

  HKEY root;
  std::wstring path;
  std::uint32_t view;
};

std::wstring unquoted(const std::wstring& text) {
  if (text.empty() || text[0] != L'"') return text;
  return text.substr(1, text.find(L'"', 1) - 1);
}

// `text` with `ext`, unless it has an extension of that length, if there is
// such a file.
std::wstring check_file(std::wstring text, const std::wstring& ext) {
  if (StartsWith(text, L"\\\\")) return {};
  if (text.size() < ext.size() || text[text.size() - ext.size()] != L'.') {
    text += ext;
  }
  const bool is_there =
      GetFileAttributesW(text.c_str()) != INVALID_FILE_ATTRIBUTES;
  return is_there ? text : std::wstring();
}

// The first of the prefixes that end at a blank that is a file.
std::wstring check_prefixes(const std::wstring& text, const std::wstring& ext) {
  for (std::size_t blank = text.find(L' '); blank != npos;
       blank = text.find(L' ', blank + 1)) {
    std::wstring found = check_file(text.substr(0, blank), ext);
    if (!found.empty()) return found;
  }
  return {};
}

std::wstring find_by_name(const std::wstring& name, const std::wstring& ext) {
  const struct {
    HKEY root;
    std::uint32_t view;
  } places[] = {{HKEY_CURRENT_USER, kRegViewDefault},
                {HKEY_LOCAL_MACHINE, kRegViewDefault},
                {HKEY_LOCAL_MACHINE, kRegView32}};
  for (const auto& place : places) {
    std::wstring found = find_in_app_paths(place.root, name, ext, place.view);
    if (!found.empty()) return found;
  }
  return search_path(nullptr, name, ext);
}

}  // namespace

std::wstring find_in_app_paths(HKEY root, const std::wstring& name,
                               const std::wstring& ext, std::uint32_t view) {
  if (name.empty()) return name;
  const AppPathsKey plain(root, name, view);
  const AppPathsKey with_ext(root, name + ext, view);
  std::wstring target = plain.target();
  if (target.empty()) target = with_ext.target();
  target = unquoted(target);
  // Every name contains the empty one: a value that names no file isn't taken.
  const std::wstring file = lower_case(file_name_of(target));
  if (!file.empty() && lower_case(name).find(file) != npos) return target;
  std::wstring directory = plain.read(L"Path");
  if (directory.empty()) directory = with_ext.read(L"Path");
  directory = expand_env(directory, true);
  // Without a directory the search would go through the system's path.
  if (directory.empty()) return target;
  const std::wstring found = search_path(directory.c_str(), name, ext);
  return found.empty() ? target : found;
}

std::wstring find_program(const std::wstring& text, const std::wstring& ext) {
  if (text.empty()) return text;
  const std::size_t quote =
      text.size() > 2 && text[0] == L'"' ? text.find(L'"', 1) : npos;
  const bool is_quoted = quote != npos;
  const std::wstring line = is_quoted ? text.substr(1, quote - 1) : text;

  const std::size_t blank = line.find(L' ');
  const std::size_t slash = line.find(L'\\');
  std::wstring found;
  if (slash == npos || blank < slash) {
    found = find_by_name(line.substr(0, blank), ext);
  }
  if (found.empty()) found = check_file(line, ext);
  if (found.empty() && !is_quoted) found = check_prefixes(line, ext);
  return found;
}

std::wstring find_executable_with_ext(const std::wstring& text,
                                      const std::wstring& ext) {
  const std::wstring found = find_program(text, ext);
  return found.empty() ? found : long_path(expand_env(found, true));
}

std::wstring find_executable(const std::wstring& name) {
  const std::wstring text = expand_env(name, false);
  for (const wchar_t* ext : {L".exe", L".com", L".bat", L".cmd"}) {
    std::wstring found = find_executable_with_ext(text, ext);
    if (!found.empty()) return found;
  }
  return {};
}

}  // namespace vel
