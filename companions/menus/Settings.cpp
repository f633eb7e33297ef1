#include "menus/Settings.h"

#include <cwchar>

namespace velmenus {
namespace {

constexpr wchar_t kKey[] = L"Software\\Tessavane\\VEL";
constexpr wchar_t kConfiguration[] = L"MenuConfiguration";
constexpr wchar_t kAutoStart[] = L"AutoStart";
constexpr wchar_t kDefaultConfiguration[] = L"Normal";

std::wstring without_blanks(const std::wstring& text) {
  const std::size_t begin = text.find_first_not_of(L' ');
  if (begin == std::wstring::npos) return {};
  return text.substr(begin, text.find_last_not_of(L' ') - begin + 1);
}

}  // namespace

std::vector<std::wstring> parse_configurations(const wchar_t* parameters) {
  std::vector<std::wstring> result;
  const std::wstring text = parameters;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(L';', at), text.size());
    const std::wstring name = without_blanks(text.substr(at, end - at));
    if (!name.empty()) result.push_back(name);
    at = end + 1;
  }
  if (result.empty()) result.emplace_back(kDefaultConfiguration);
  return result;
}

std::wstring chosen_configuration(
    const std::vector<std::wstring>& configurations) {
  wchar_t saved[256];
  DWORD size = sizeof saved;
  if (RegGetValueW(HKEY_CURRENT_USER, kKey, kConfiguration, RRF_RT_REG_SZ,
                   nullptr, saved, &size) == ERROR_SUCCESS) {
    for (const std::wstring& each : configurations) {
      if (_wcsicmp(each.c_str(), saved) == 0) return each;
    }
  }
  return configurations.front();
}

bool starts_with_windows() {
  DWORD value = 1;
  DWORD size = sizeof value;
  const LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, kKey, kAutoStart,
                                      RRF_RT_REG_DWORD, nullptr, &value, &size);
  return status != ERROR_SUCCESS || value != 0;
}

DWORD set_chosen_configuration(const std::wstring& configuration) {
  const std::size_t size = (configuration.size() + 1) * sizeof(wchar_t);
  return static_cast<DWORD>(
      RegSetKeyValueW(HKEY_CURRENT_USER, kKey, kConfiguration, REG_SZ,
                      configuration.c_str(), static_cast<DWORD>(size)));
}

DWORD set_starts_with_windows(bool on) {
  const DWORD value = on;
  return static_cast<DWORD>(RegSetKeyValueW(HKEY_CURRENT_USER, kKey, kAutoStart,
                                            REG_DWORD, &value, sizeof value));
}

}  // namespace velmenus
