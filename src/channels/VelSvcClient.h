// What the program asks of the machine-wide service while both run. Nothing is
// shown to the user; failures are logged. No state, any thread.
#ifndef VEL_CHANNELS_VELSVCCLIENT_H_
#define VEL_CHANNELS_VELSVCCLIENT_H_

#include <windows.h>

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

// The service's state (dwCurrentState), and whether it is one that somebody may
// start: of the start types automatic or on demand. False when a step failed,
// which is logged; the last error is that step's, and the results are
// untouched from the failed step on.
bool VelSvc_Query(DWORD& state_out, bool& startable_out);

// True when the service runs, false when it won't. Waits for one that is
// stopped but startable, or starting: up to 300 seconds.
bool VelSvc_Wait();

// Sends a notification to the service and gives its reply, 0 on failure with
// the reason in the last error. Waits for a service that is starting: up to
// five minutes for the service and one for its pipe.
int VelSvc_Notify(std::uint32_t code, const std::wstring& args);

// What the two waits above ask and sleep with, to be replaced where minutes
// mustn't pass.
struct VelSvcCalls {
  bool (*query)(DWORD& state_out, bool& startable_out);
  std::uint32_t (*command)(std::uint32_t code, const std::wstring& args);
  void (*sleep)(DWORD milliseconds);
};
bool VelSvc_WaitWith(const VelSvcCalls& calls);
int VelSvc_NotifyWith(const VelSvcCalls& calls, std::uint32_t code,
                      const std::wstring& args);

}  // namespace vel

#endif  // VEL_CHANNELS_VELSVCCLIENT_H_
