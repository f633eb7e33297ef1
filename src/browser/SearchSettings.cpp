#include "browser/SearchSettings.h"

#include "foundation/NotBuilt.h"

namespace vel {

bool UpdateSearchSettings(bool) {
  report_not_built("UpdateSearchSettings");
  return false;
}

void UpdateStartPage() {
  report_not_built("UpdateStartPage");
}

}  // namespace vel
