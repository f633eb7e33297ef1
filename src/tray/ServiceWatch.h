// The tray's announcement to the service, and the watch on the service's life.
// The watch thread itself is TrayMenuHolder::svc_reinit_proc.
#ifndef VEL_TRAY_SERVICEWATCH_H_
#define VEL_TRAY_SERVICEWATCH_H_

#include <windows.h>

namespace vel {

// Announces this process to the service. Returns a handle on the service's
// process, which the caller closes, or null when the service wasn't reached
// or answered with something else. May wait for the service to start.
HANDLE svc_send_init();

}  // namespace vel

#endif  // VEL_TRAY_SERVICEWATCH_H_
