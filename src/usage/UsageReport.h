// The usage report to the vendor's statistics host.
#ifndef VEL_USAGE_USAGEREPORT_H_
#define VEL_USAGE_USAGEREPORT_H_

namespace vel {

// Sends a report; `reason` is "install", "uninstall" or "periodic". True when
// the exchange with the server worked. Blocks meanwhile, also while a message
// of the server is shown to the user.
bool SendUsageStatsReport(const wchar_t* reason);

}  // namespace vel

#endif  // VEL_USAGE_USAGEREPORT_H_
