#include "browser/FireFoxHacks.h"

#include "foundation/NotBuilt.h"

namespace vel {

void CheckForUpdateExtensions() {
  report_not_built("CheckForUpdateExtensions");
}

}  // namespace vel
