// The service's work, the same under the service control manager and by hand.
#ifndef VEL_COMPANIONS_SERVICE_SERVICERUN_H_
#define VEL_COMPANIONS_SERVICE_SERVICERUN_H_

#include <windows.h>

namespace velsvc {

// Makes the event that stops the service, "Global\VelSvcStopEvent", which the
// system and administrators may set. Null with the last error; an event of that
// name that is there already belongs to a running service and counts as
// ERROR_SERVICE_ALREADY_RUNNING.
HANDLE make_stop_event();

// Serves the command pipe until `stop` is set. `ready` is called once when
// clients find the pipe. Returns a system error code.
DWORD run_until(HANDLE stop, void (*ready)());

}  // namespace velsvc

#endif  // VEL_COMPANIONS_SERVICE_SERVICERUN_H_
