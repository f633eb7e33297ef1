// Ends the copy of the program that already runs, for the uninstall.
#ifndef VEL_PROCESS_SHUTDOWNOTHER_H_
#define VEL_PROCESS_SHUTDOWNOTHER_H_

namespace vel {

// Asks the running tray to close its sessions, then to end, and waits up to 10
// seconds for its window to go. False when the tray is there but refuses to
// close its sessions; true when it has gone, was never there, or has agreed to
// go.
bool softhard_shutdown_other();

}  // namespace vel

#endif  // VEL_PROCESS_SHUTDOWNOTHER_H_
