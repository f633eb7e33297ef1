// The two ways to the tray, made alike.
#ifndef VEL_TOOLS_VELCTL_DOORS_H_
#define VEL_TOOLS_VELCTL_DOORS_H_

#include <cstdint>
#include <string>

namespace velctl {

enum class Door { kWindow, kPipe };

enum class Answer {
  kHandled,
  kNotHandled,
  kRefused,  // by a plug-in; over the window it looks like kNotHandled
  kNobody,   // no tray, or it broke off; the last error may tell more
};

// Sends a command and waits, without limit, for the answer.
Answer send_command(Door door, std::uint32_t command, const std::wstring& text);

}  // namespace velctl

#endif  // VEL_TOOLS_VELCTL_DOORS_H_
