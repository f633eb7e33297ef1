#include "usage/UsageReport.h"

#include "foundation/NotBuilt.h"

namespace vel {

bool SendUsageStatsReport(const wchar_t*) {
  report_not_built("SendUsageStatsReport");
  return false;
}

}  // namespace vel
