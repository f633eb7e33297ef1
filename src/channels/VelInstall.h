// Installs and removes the machine-wide service and its driver. For an elevated
// process without a window of its own: the calls block, tell the user in
// message boxes what failed, and go on where they can. No state, any thread.
#ifndef VEL_CHANNELS_VELINSTALL_H_
#define VEL_CHANNELS_VELINSTALL_H_

namespace vel {

inline constexpr wchar_t kServiceName[] = L"VelSvc";
inline constexpr wchar_t kDriverName[] = L"VELKL";

// Creates and starts the driver and the service that depends on it, out of the
// program's own directory. A driver that can't be created doesn't keep the
// service from being tried.
void VelSvc_Install();

// Stops and removes the service, then the driver, then lets the shell extension
// undo what it did to the machine. What isn't installed is skipped. Waits until
// the service has left the state "stop pending", without limit.
void VelSvc_Uninstall();

// Asks the service to stop. True when its stop event was found and set.
bool VelSvc_Stop();

// The step log of the calls on the service control manager, with the last
// error, which is kept.
void log_service_step(const char* operation, const char* step) noexcept;

}  // namespace vel

#endif  // VEL_CHANNELS_VELINSTALL_H_
