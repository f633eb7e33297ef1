#include "browser/FirefoxProfiles.h"

#include <windows.h>

#include <algorithm>

#include "foundation/Environment.h"
#include "foundation/PathParts.h"
#include "foundation/Text.h"
#include "proptree/VelIniFile.h"

namespace vel {
namespace {

bool exists(const std::wstring& path) {
  return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring ini_text(const std::wstring& ini, const std::wstring& section,
                      const wchar_t* key) {
  wchar_t buffer[512] = L"";
  GetPrivateProfileStringW(section.c_str(), key, L"", buffer, 511, ini.c_str());
  return buffer;
}

// As the file has it.
std::wstring default_profile_path(const std::wstring& ini) {
  std::wstring path;
  for (unsigned i = 0;; ++i) {
    const std::wstring section = FormatWide(L"Profile%u", i);
    const std::wstring own_path = ini_text(ini, section, L"Path");
    if (own_path.empty() && ini_text(ini, section, L"Name").empty()) break;
    path = own_path;
    if (GetPrivateProfileIntW(section.c_str(), L"Default", 0, ini.c_str()) !=
        0) {
      break;
    }
  }
  return path;
}

std::shared_ptr<FirefoxProfile> profile_of(const VelIniSection& section) {
  auto profile = std::make_shared<FirefoxProfile>();
  profile->is_default = section.GetValue(L"Default", L"") == L"1";
  profile->name = section.GetValue(L"Name", L"");
  std::wstring path = section.GetValue(L"Path", L"");
  if (section.GetValue(L"IsRelative", L"") == L"1") {
    path.insert(0, expand_env(L"%appdata%\\mozilla\\firefox\\", false));
  }
  profile->path = with_slash(std::move(path));
  return profile;
}

}  // namespace

std::wstring default_firefox_profile_dir() {
  const std::wstring base = expand_env(L"%APPDATA%\\Mozilla\\Firefox\\", false);
  const std::wstring ini = base + L"profiles.ini";
  if (!exists(ini)) return {};
  std::wstring path = default_profile_path(ini);
  if (path.empty()) return {};
  std::replace(path.begin(), path.end(), L'/', L'\\');
  if (path.find(L':') == std::wstring::npos) path.insert(0, base);
  return exists(path) ? path : std::wstring();
}

FirefoxProfileList list_firefox_profiles(const std::wstring& ini_path) {
  VelIniFile ini(
      ini_path.empty()
          ? expand_env(L"%appdata%\\mozilla\\firefox\\profiles.ini", false)
          : ini_path);
  std::list<VelIniSectionPtr> sections;
  ini.GetSections(sections);
  FirefoxProfileList profiles;
  for (const VelIniSectionPtr& section : sections) {
    if (section->HasKey(L"Name")) profiles.push_back(profile_of(*section));
  }
  return profiles;
}

std::shared_ptr<FirefoxProfile> find_firefox_profile(const std::wstring& name) {
  const FirefoxProfileList profiles = list_firefox_profiles();
  if (profiles.empty()) return nullptr;
  const auto found = std::find_if(
      profiles.begin(), profiles.end(), [&name](const auto& profile) {
        return name.empty() ? profile->is_default : profile->name == name;
      });
  return found == profiles.end() ? profiles.front() : *found;
}

}  // namespace vel
