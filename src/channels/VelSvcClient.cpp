#include "channels/VelSvcClient.h"

#include <vector>

#include "channels/VelInstall.h"
#include "channels/VelPipeClient.h"
#include "foundation/Text.h"
#include "log/VelLog.h"
#include "sync/ServiceHandle.h"

namespace vel {
namespace {

constexpr char kQuery[] = "VelSvc_Query";
// The bit that the start types "automatic" (2) and "on demand" (3) share.
constexpr DWORD kStartableBit = 2;
constexpr DWORD kLargestConfig = 0x40000;  // bytes
constexpr DWORD kUsualConfig = 16384;      // bytes

constexpr int kWaitErrors = 10;  // failures in a row
constexpr int kWaitPolls = 1000;
constexpr DWORD kWaitPoll = 300;  // ms
constexpr int kNotifyTries = 100;
constexpr DWORD kNotifyPause = 600;  // ms

bool failed(const char* step) noexcept {
  log_service_step(kQuery, step);
  return false;
}

bool query_startable(const ServiceHandle& service, bool& startable_out) {
  DWORD size = 0;
  QueryServiceConfigW(service.get(), nullptr, 0, &size);
  if (size == 0 || size > kLargestConfig) size = kUsualConfig;
  std::vector<BYTE> buffer(size);
  auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  if (!QueryServiceConfigW(service.get(), config, size, &size)) return false;
  startable_out = (config->dwStartType & kStartableBit) != 0;
  return true;
}

std::uint32_t send_to_service(std::uint32_t code, const std::wstring& args) {
  // A reply of 0 sets no error, and an old "not found" would be taken for a
  // pipe that isn't there yet.
  SetLastError(ERROR_SUCCESS);
  return VelPipeCommand(FormatWide(L"\\\\.\\pipe\\%s", kServiceName), code,
                        args, false);
}

void sleep(DWORD milliseconds) {
  Sleep(milliseconds);
}

constexpr VelSvcCalls kSystemCalls = {&VelSvc_Query, &send_to_service, &sleep};

enum class Verdict { kRuns, kWontRun, kAskAgain };

void log_state(DWORD state) {
  VelLog_Print(kLogNotice, L"VelSvc_Wait: svc_state=0x%x.", state);
}

Verdict judge(DWORD state, bool startable) {
  if (state == SERVICE_RUNNING) {
    log_state(state);
    return Verdict::kRuns;
  }
  if (state == SERVICE_STOPPED && !startable) {
    log_state(state);
    return Verdict::kWontRun;
  }
  return Verdict::kAskAgain;
}

Verdict judge_failure(DWORD error) {
  if (error != ERROR_INVALID_NAME && error != ERROR_SERVICE_DOES_NOT_EXIST) {
    return Verdict::kAskAgain;
  }
  VelLog_Print(kLogNotice, L"VelSvc_Wait: VelSvc not installed");
  return Verdict::kWontRun;
}

}  // namespace

bool VelSvc_Query(DWORD& state_out, bool& startable_out) {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, GENERIC_READ));
  if (!manager) return failed("OpenSCManager");
  const ServiceHandle service(
      OpenServiceW(manager.get(), kServiceName,
                   SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS));
  if (!service) return failed("OpenService");
  if (!query_startable(service, startable_out)) {
    return failed("QueryServiceConfig");
  }
  SERVICE_STATUS status = {};
  if (!QueryServiceStatus(service.get(), &status)) {
    return failed("QueryServiceStatus");
  }
  state_out = status.dwCurrentState;
  return true;
}

bool VelSvc_WaitWith(const VelSvcCalls& calls) {
  int errors = 0;
  for (int polls = 0; errors < kWaitErrors && polls < kWaitPolls; ++polls) {
    DWORD state = SERVICE_STOPPED;
    bool startable = false;
    const bool queried = calls.query(state, startable);
    const Verdict verdict =
        queried ? judge(state, startable) : judge_failure(GetLastError());
    if (verdict != Verdict::kAskAgain) return verdict == Verdict::kRuns;
    errors = queried ? 0 : errors + 1;
    calls.sleep(kWaitPoll);
  }
  VelLog_Print(kLogError, L"VelSvc_Wait: timeout");
  return false;
}

int VelSvc_NotifyWith(const VelSvcCalls& calls, std::uint32_t code,
                      const std::wstring& args) {
  const bool running = VelSvc_WaitWith(calls);
  for (int tries = 0; tries < kNotifyTries; ++tries) {
    const int result = static_cast<int>(calls.command(code, args));
    if (result != 0) {
      VelLog_Print(kLogNotice, L"VelSvc_Notify(0x%x): Result %i.", code,
                   result);
      return result;
    }
    const DWORD error = GetLastError();
    if (!running || error != ERROR_FILE_NOT_FOUND) {
      VelLog_Print(kLogWarning, L"VelSvc_Notify(0x%x): Error %u.", code, error);
      return 0;
    }
    calls.sleep(kNotifyPause);
  }
  VelLog_Print(kLogWarning, L"VelSvc_Notify(0x%x): Timed out.", code);
  return 0;
}

bool VelSvc_Wait() {
  return VelSvc_WaitWith(kSystemCalls);
}

int VelSvc_Notify(std::uint32_t code, const std::wstring& args) {
  return VelSvc_NotifyWith(kSystemCalls, code, args);
}

}  // namespace vel
