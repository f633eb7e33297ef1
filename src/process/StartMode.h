// The start modes: what `/start_mode` asks of a run before anything else.
#ifndef VEL_PROCESS_STARTMODE_H_
#define VEL_PROCESS_STARTMODE_H_

#include <string>

namespace vel {

// Carries the start mode out. True when the process is to go on, false when all
// is done and it ends with 0. "auto" asks the user's AutoStart value;
// "configure", "about" and "shutdown" are sent to a running tray;
// "after_install" has the service start the program. Any other value, and none,
// goes on.
bool process_start_mode(const std::wstring& cmd_line);

// Hands this process's command line to the service, which starts the program
// with it outside the installer. False when the service didn't.
bool relaunch_after_install();

// `cmd_line` without the argument that asked for the relaunch; with it the new
// process would ask for one again.
std::wstring without_after_install(std::wstring cmd_line);

}  // namespace vel

#endif  // VEL_PROCESS_STARTMODE_H_
