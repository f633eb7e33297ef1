#include "usage/UsageReport.h"

#include <windows.h>

#include <exception>
#include <string>

#include "foundation/CodePageConverter.h"
#include "foundation/HttpTransfer.h"
#include "foundation/Product.h"
#include "log/VelLog.h"
#include "log/VelProfileHolder.h"
#include "usage/BetaMessage.h"
#include "usage/InternetGate.h"
#include "usage/ReportText.h"

namespace vel {
namespace {

const wchar_t* path_of(const std::wstring& reason) {
  if (reason == L"periodic") return L"/periodic";
  return reason == L"install" ? L"/install" : L"/uninstall";
}

bool post_report(const wchar_t* host, const wchar_t* reason,
                 std::string& reply) {
  const std::wstring date = report_date();
  const std::wstring body = report_body(reason);
  // Made for each report and used by nothing.
  static_cast<void>(report_name(reason));
  if (!http_post(L"http://" + std::wstring(host) + path_of(reason), body, reply,
                 report_headers(date, body.size()))) {
    VelLog_Print(kLogWarning, L"SendUsageStatsReport('%s') - failed, le=%u",
                 reason, GetLastError());
    return false;
  }
  VelLog_Print(kLogTrace, L"SendUsageStatsReport('%s') - OK, responce: %S",
               reason, reply.c_str());
  return true;
}

}  // namespace

bool SendUsageStatsReportTo(const wchar_t* host, const wchar_t* reason) {
  VEL_PROFILE_SCOPE("SendUsageStatsReport");
  bool sent = false;
  try {
    std::string reply;
    sent = post_report(host, reason, reply);
    if (!reply.empty()) show_beta_message(widen(reply));
  } catch (const std::exception& error) {
    // A reply of any size may come, and a report ends nothing but itself.
    VelLog_Print(kLogWarning, L"SendUsageStatsReport('%s') - %S", reason,
                 error.what());
  }
  return sent;
}

bool SendUsageStatsReport(const wchar_t* reason) {
  return reports_have_a_host(kVendorHost) && is_internet_reachable() &&
         SendUsageStatsReportTo(kVendorHost, reason);
}

}  // namespace vel
