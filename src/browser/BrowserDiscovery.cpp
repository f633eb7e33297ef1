#include "browser/BrowserDiscovery.h"

#include <windows.h>
#include <shlwapi.h>

#include <cstdlib>

#include "browser/ProgramSearch.h"
#include "foundation/PathParts.h"
#include "foundation/Registry.h"
#include "foundation/Text.h"

namespace vel {
namespace {

constexpr wchar_t kExe[] = L".exe";
constexpr wchar_t kIExploreKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\IEXPLORE.EXE";
constexpr wchar_t kUserChoiceKey[] =
    L"Software\\Microsoft\\Windows\\Shell\\Associations\\UrlAssociations\\"
    L"http\\UserChoice";
constexpr wchar_t kOpenCommand[] = L"\\Shell\\Open\\Command";
constexpr wchar_t kOwnProgram[] = L"\\brindlemar.exe";
// What the product holds when it is the default browser.
constexpr const wchar_t* kOwnAssociations[] = {
    L"Software\\Classes\\http",   L"Software\\Classes\\https",
    L"Software\\Classes\\ftp",    L"Software\\Classes\\.html",
    L"Software\\Classes\\.shtml", L"Software\\Classes\\.xml",
};
constexpr DWORD kMajorVista = 6;
constexpr std::uint8_t kIeVersionUnknown = 6;

bool is_vista_or_later() {
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof(version);
  return GetVersionExW(&version) && version.dwMajorVersion >= kMajorVista;
}

std::wstring lowered(std::wstring text) {
  ToLowerInPlace(text);
  return text;
}

bool contains(const std::wstring& text, const wchar_t* part) {
  return text.find(part) != std::wstring::npos;
}

std::wstring open_command_of(const std::wstring& progid) {
  if (progid.empty()) return {};
  return RegGetString(HKEY_CLASSES_ROOT, progid + kOpenCommand, L"",
                      kRegViewDefault);
}

BrowserKind explorer_kind_of(const std::wstring& lowered_path) {
  if (lowered_path != lowered(find_iexplore(kRegView32)) &&
      lowered_path == lowered(find_iexplore(kRegViewDefault1))) {
    return BrowserKind::kInternetExplorer;
  }
  return BrowserKind::kInternetExplorer32;
}

}  // namespace

std::wstring find_iexplore(std::uint32_t view) {
  const std::wstring value =
      RegGetString(HKEY_LOCAL_MACHINE, kIExploreKey, L"", view);
  if (contains(lowered(file_name_of(value)), L"iexplore")) {
    return find_executable(value);
  }
  return find_executable_with_ext(L"iexplore.exe", kExe);
}

std::wstring browser_path(BrowserKind kind) {
  switch (kind) {
    case BrowserKind::kDefault:
      return default_browser_path();
    case BrowserKind::kInternetExplorer32:
      return find_iexplore(kRegView32);
    case BrowserKind::kInternetExplorer:
      return find_iexplore(kRegViewDefault1);
    case BrowserKind::kFirefox:
      return find_executable_with_ext(L"firefox.exe", kExe);
    case BrowserKind::kOther:
      break;
  }
  return {};
}

std::wstring default_browser_command() {
  std::wstring command;
  if (is_vista_or_later()) {
    command = open_command_of(RegGetString(HKEY_CURRENT_USER, kUserChoiceKey,
                                           L"Progid", kRegViewDefault));
  }
  return command.empty() ? open_command_of(L"http") : command;
}

std::wstring default_browser_path() {
  std::wstring text = default_browser_command();
  std::wstring lower = lowered(text);
  if (contains(lower, kOwnProgram)) {
    for (const wchar_t* key : kOwnAssociations) {
      SHDeleteKeyW(HKEY_CURRENT_USER, key);
    }
    text = default_browser_command();
    lower = lowered(text);
  }
  if (!contains(lower, L"iexplore") && !contains(lower, L"firefox")) {
    text = L"IEXPLORE.EXE";
  }
  const std::wstring path = find_executable_with_ext(text, kExe);
  return path.empty() ? text : path;
}

BrowserKind browser_kind_of(const wchar_t* path) {
  if (path == nullptr) return browser_kind_of(default_browser_path().c_str());
  const std::wstring found = lowered(find_executable(path));
  const std::wstring name = file_name_of(found);
  if (name == L"firefox.exe") return BrowserKind::kFirefox;
  return name == L"iexplore.exe" ? explorer_kind_of(found)
                                 : BrowserKind::kOther;
}

std::uint8_t ie_major_version() {
  const std::wstring version = RegGetString(
      HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Internet Explorer", L"Version",
      kRegViewDefault1);
  const std::wstring major = version.substr(0, version.find(L'.'));
  if (major.empty()) return kIeVersionUnknown;
  return static_cast<std::uint8_t>(_wtoi(major.c_str()));
}

}  // namespace vel
