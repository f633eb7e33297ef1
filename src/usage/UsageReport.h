// The usage report to the vendor's statistics host.
#ifndef VEL_USAGE_USAGEREPORT_H_
#define VEL_USAGE_USAGEREPORT_H_

#include <string_view>

namespace vel {

// Whether reports can go out: a build that nobody has configured has a host
// that ends in .invalid.
constexpr bool reports_have_a_host(std::wstring_view host) {
  return !host.empty() && !host.ends_with(L".invalid");
}

// Sends a report; `reason` is "install", "uninstall" or "periodic". True when
// the exchange with the server worked, whatever the server said; false without
// a word where there is no network, and in a build without a host, which
// doesn't look. Blocks meanwhile, also while a message of the server is shown
// to the user. Throws nothing: a reply that memory can't hold is logged and
// shown to nobody.
bool SendUsageStatsReport(const wchar_t* reason);

// The same, past the look at the network, to another host. Port 80.
bool SendUsageStatsReportTo(const wchar_t* host, const wchar_t* reason);

}  // namespace vel

#endif  // VEL_USAGE_USAGEREPORT_H_
