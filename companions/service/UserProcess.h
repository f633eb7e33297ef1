// Starts the product's program for a logged-on user.
#ifndef VEL_COMPANIONS_SERVICE_USERPROCESS_H_
#define VEL_COMPANIONS_SERVICE_USERPROCESS_H_

#include <windows.h>

#include <string>

namespace velsvc {

// Starts Brindlemar.exe of the service's own directory with `command_line`, on
// the desktop of the session that the process `client` is in, as its user, with
// that user's environment. A service that was started by hand starts it as
// itself. Returns a system error code.
DWORD start_in_session_of(DWORD client, const std::wstring& command_line);

// Whether this process runs under the service control manager. Set once, before
// the first call above.
void set_run_as_service(bool as_service);

}  // namespace velsvc

#endif  // VEL_COMPANIONS_SERVICE_USERPROCESS_H_
