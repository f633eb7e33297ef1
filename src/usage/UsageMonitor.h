// Counts the starts and the running time of the tray, and has the periodic
// usage report sent.
#ifndef VEL_USAGE_USAGEMONITOR_H_
#define VEL_USAGE_USAGEMONITOR_H_

#include <windows.h>

#include <cstdint>

#include "sync/ScopedHandle.h"
#include "sync/VelTask.h"

namespace vel {

// Starts the counting in the background unless it runs already. Not for two
// threads at a time, nor together with its counterpart: the main thread calls
// both, unless the user's session ends under it and the tray's window does.
void EnableUsageMonitoring();

// Ends the counting and waits until a report that is under way is done. Does
// nothing when nothing was started.
void DisableUsageMonitoring();

// What the monitor asks and waits with, to be replaced where minutes mustn't
// pass.
struct UsageCalls {
  // Seconds since 1970.
  std::int64_t (*now)();
  // Waits for the stop; false when the time is over first.
  bool (*wait)(HANDLE stop, DWORD milliseconds);
  // Null where reports are off.
  bool (*send_report)(const wchar_t* reason);
};

// The counting itself, from start() to the destructor. Its thread alone writes
// the counters.
class UsageMonitor final : public VelTask {
 public:
  UsageMonitor();
  explicit UsageMonitor(const UsageCalls& calls);
  // Stops it, and waits without limit.
  ~UsageMonitor() override;

 protected:
  void run() override;

 private:
  void update_used_time();
  void report_when_due();

  const UsageCalls _calls;
  // Manual-reset.
  const ScopedHandle _stop;
  // When UsedTime was last brought up to date.
  std::int64_t _last_tick;
};

}  // namespace vel

#endif  // VEL_USAGE_USAGEMONITOR_H_
