// What the service does for its clients.
#ifndef VEL_COMPANIONS_SERVICE_COMMANDS_H_
#define VEL_COMPANIONS_SERVICE_COMMANDS_H_

#include <windows.h>

#include <cstdint>
#include <string>

namespace velsvc {

// Carries out one command of the process `client` (0: not known) and gives the
// reply, 0 when it failed or isn't known. Any thread.
//
//   2  a tray announces itself by /VelGuiPid="<its id>": a handle of the
//      service's process, valid in the tray
//   4  starts the product's program with the text as its command line, in the
//      client's session as its user: 1
std::uint32_t answer_command(std::uint32_t command, const std::wstring& text,
                             DWORD client);

}  // namespace velsvc

#endif  // VEL_COMPANIONS_SERVICE_COMMANDS_H_
