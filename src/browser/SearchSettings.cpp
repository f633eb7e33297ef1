#include "browser/SearchSettings.h"

#include "foundation/NotBuilt.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"

namespace vel {

bool UpdateSearchSettings(bool) {
  report_not_built("UpdateSearchSettings");
  return false;
}

void UpdateStartPage() {
  report_not_built("UpdateStartPage");
}

bool DeleteSearchFeature() {
  return RegRemoveValue(HKEY_LOCAL_MACHINE, kProductKey, L"SearchFeature",
                        kRegViewDefault) == ERROR_SUCCESS;
}

}  // namespace vel
