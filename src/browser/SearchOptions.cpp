#include "browser/SearchOptions.h"

#include "foundation/Product.h"
#include "foundation/Registry.h"

namespace vel {
namespace {

constexpr wchar_t kOptionsKey[] = L"Software\\Tessavane\\VEL\\Settings\\Search";
constexpr wchar_t kFeatureValue[] = L"SearchFeature";

bool is_chosen(const wchar_t* option) {
  return RegGetDword(HKEY_CURRENT_USER, kOptionsKey, option, 0,
                     kRegViewDefault) != 0;
}

}  // namespace

bool opt_def_browser_search() {
  return is_chosen(L"opt_def_browser_search");
}

bool opt_browser_startpage() {
  return is_chosen(L"opt_browser_startpage");
}

bool opt_search_box() {
  return is_chosen(L"opt_search_box");
}

bool is_search_feature_offered() {
  return RegGetDword(HKEY_LOCAL_MACHINE, kProductKey, kFeatureValue, 0,
                     kRegViewDefault) != 0;
}

bool DeleteSearchFeature() {
  return RegRemoveValue(HKEY_LOCAL_MACHINE, kProductKey, kFeatureValue,
                        kRegViewDefault) == ERROR_SUCCESS;
}

}  // namespace vel
