// Counts the starts and the running time of the tray, and has the periodic
// usage report sent.
#ifndef VEL_USAGE_USAGEMONITOR_H_
#define VEL_USAGE_USAGEMONITOR_H_

namespace vel {

// Starts the counting in the background unless it runs already. Called by the
// main thread only, as is its counterpart.
void EnableUsageMonitoring();

// Ends the counting and waits until a report that is under way is done. Does
// nothing when nothing was started.
void DisableUsageMonitoring();

}  // namespace vel

#endif  // VEL_USAGE_USAGEMONITOR_H_
