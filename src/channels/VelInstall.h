// What the program asks of the machine-wide service.
#ifndef VEL_CHANNELS_VELINSTALL_H_
#define VEL_CHANNELS_VELINSTALL_H_

#include <cstdint>
#include <string>

namespace vel {

enum VelSvcNotifyCode : std::uint32_t {
  // Text: /VelGuiPid="<process id>". The reply is a handle of the service's
  // process, valid in the sender and owned by it.
  kSvcNotifyTrayStarted = 2,
  // Text: a command line. The reply is above 0 when the service has started the
  // program with it in the user's session.
  kSvcNotifyStartProgram = 4,
};

// Sends a notification to the service and gives its reply, 0 on failure with
// the reason in the last error. Waits for a service that is starting: up to
// five minutes for the service and one for its pipe. Safe from any thread.
int VelSvc_Notify(std::uint32_t code, const std::wstring& args);

}  // namespace vel

#endif  // VEL_CHANNELS_VELINSTALL_H_
