#include "sessions/UserLibrary.h"

#include <string>

#include "foundation/Environment.h"
#include "foundation/Paths.h"
#include "foundation/Registry.h"

namespace vel {

namespace {

constexpr wchar_t kMinModesKey[] = L"Software\\Tessavane\\VEL\\VELULMinModes";
constexpr wchar_t kFullBuild[] = L"VELUL.dll";
constexpr wchar_t kReducedBuild[] = L"VELUL_MIN\\VELUL.dll";

}  // namespace

bool is_min_mode(const wchar_t* config) {
  const std::wstring name = config != nullptr ? config : get_env(L"VELCFG");
  const bool users_own = RegValueType(kMinModesKey, name) == REG_DWORD;
  const HKEY root = users_own ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
  return RegGetDword(root, kMinModesKey, name, 0, kRegViewDefault) != 0;
}

std::wstring vel_ul_path(bool reduced) {
  return component_path(reduced ? kReducedBuild : kFullBuild);
}

HMODULE load_vel_ul() {
  return LoadLibraryW(vel_ul_path(false).c_str());
}

HMODULE load_vel_ul_min() {
  return LoadLibraryW(vel_ul_path(true).c_str());
}

}  // namespace vel
