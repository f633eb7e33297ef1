#include "usage/UsageReport.h"

#include <windows.h>

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

}  // namespace

bool SendUsageStatsReportTo(const std::wstring& host, const wchar_t* reason) {
  VEL_PROFILE_SCOPE("SendUsageStatsReport");
  const std::wstring date = report_date();
  const std::wstring body = report_body(reason);
  // Made for each report and used by nothing.
  static_cast<void>(report_name(reason));
  std::string reply;
  if (!http_post(L"http://" + host + path_of(reason), body, reply,
                 report_headers(date, body.size()))) {
    VelLog_Print(kLogWarning, L"SendUsageStatsReport('%s') - failed, le=%u",
                 reason, GetLastError());
    return false;
  }
  VelLog_Print(kLogTrace, L"SendUsageStatsReport('%s') - OK, responce: %S",
               reason, reply.c_str());
  if (!reply.empty()) show_beta_message(widen(reply));
  return true;
}

bool SendUsageStatsReport(const wchar_t* reason) {
  return is_internet_reachable() && SendUsageStatsReportTo(kVendorHost, reason);
}

}  // namespace vel
