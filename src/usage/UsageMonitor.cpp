#include "usage/UsageMonitor.h"

#include <ctime>
#include <memory>

#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "log/VelLog.h"
#include "log/VelProfileHolder.h"
#include "sync/OnceGuard.h"
#include "sync/Trap.h"
#include "usage/UsageCounters.h"
#include "usage/UsageReport.h"

namespace vel {
namespace {

constexpr char kLogSource[] = ".\\UsageMonitor";
constexpr wchar_t kLastReport[] = L"LastUsageReport64";
// Of earlier versions, 32 bits.
constexpr wchar_t kOldLastReport[] = L"LastUsageReport";
constexpr std::int64_t kReportInterval = 900;  // s
constexpr DWORD kRound = 30000;                // ms

constexpr UsageCalls kSystemCalls = {
    [] { return static_cast<std::int64_t>(_time64(nullptr)); },
    [](HANDLE stop, DWORD milliseconds) {
      return WaitForSingleObject(stop, milliseconds) != WAIT_TIMEOUT;
    },
    reports_have_a_host(kVendorHost) ? &SendUsageStatsReport : nullptr,
};

std::shared_ptr<UsageMonitor>& monitor() {
  return once_static([] { return std::shared_ptr<UsageMonitor>(); });
}

void add_to(const wchar_t* counter, std::uint32_t amount) {
  const std::uint32_t value =
      RegGetDword(HKEY_CURRENT_USER, kProductKey, counter, 0, kRegViewDefault);
  RegSetDword(HKEY_CURRENT_USER, kProductKey, counter, value + amount,
              kRegViewDefault);
}

}  // namespace

UsageMonitor::UsageMonitor() : UsageMonitor(kSystemCalls) {}

UsageMonitor::UsageMonitor(const UsageCalls& calls)
    : _calls(calls),
      _stop(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      _last_tick(calls.now()) {
  if (!_stop) vel_trap();
}

UsageMonitor::~UsageMonitor() {
  SetEvent(_stop.get());
  WaitForSingleObject(done_event(), INFINITE);
}

void UsageMonitor::run() {
  if (_calls.send_report == nullptr) {
    VelLog_Print(kLogWarning,
                 L"UsageMonitor: no vendor's host, usage reports are off");
  }
  add_to(kStartsCount, 1);
  do {
    update_used_time();
    report_when_due();
  } while (!_calls.wait(_stop.get(), kRound));
  update_used_time();
}

// A clock that was set back stands still until it is where it was.
void UsageMonitor::update_used_time() {
  const std::int64_t now = _calls.now();
  if (now <= _last_tick) return;
  add_to(kUsedTime, static_cast<std::uint32_t>(now - _last_tick));
  _last_tick = now;
}

void UsageMonitor::report_when_due() {
  if (_calls.send_report == nullptr) return;
  const auto last = static_cast<std::int64_t>(
      RegGetQword(HKEY_CURRENT_USER, kProductKey, kLastReport, kOldLastReport));
  const std::int64_t now = _calls.now();
  // Any 64 bits may stand in the registry: nothing is added to them.
  if (last > now - kReportInterval) return;
  if (!_calls.send_report(L"periodic")) return;
  RegSetQword(HKEY_CURRENT_USER, kProductKey, kLastReport,
              static_cast<std::uint64_t>(now));
}

void EnableUsageMonitoring() {
  if (!monitor()) monitor() = std::make_shared<UsageMonitor>();
  if (!monitor()->is_running() && !monitor()->start()) VEL_LOG_WIN32_CALL();
}

void DisableUsageMonitoring() {
  VEL_PROFILE_SCOPE("DisableUsageMonitoring");
  monitor().reset();
}

}  // namespace vel
