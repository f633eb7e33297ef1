// The usage report to the vendor's statistics host.
#ifndef VEL_USAGE_USAGEREPORT_H_
#define VEL_USAGE_USAGEREPORT_H_

#include <string>

namespace vel {

// Sends a report; `reason` is "install", "uninstall" or "periodic". True when
// the exchange with the server worked, whatever the server said; false without
// a word where there is no network. Blocks meanwhile, also while a message of
// the server is shown to the user.
bool SendUsageStatsReport(const wchar_t* reason);

// The same, past the look at the network, to another host. Port 80.
bool SendUsageStatsReportTo(const std::wstring& host, const wchar_t* reason);

}  // namespace vel

#endif  // VEL_USAGE_USAGEREPORT_H_
