#include "usage/UsageMonitor.h"

#include "foundation/NotBuilt.h"

namespace vel {

void EnableUsageMonitoring() {
  report_not_built("EnableUsageMonitoring");
}

// Nothing can have been started, so nothing is left undone.
void DisableUsageMonitoring() {}

}  // namespace vel
