#include "velctl/Doors.h"

#include <windows.h>

#include "channels/VelPipeClient.h"
#include "foundation/Text.h"
#include "tray/GuiIpc.h"
#include "vel/PipeMessage.h"

namespace velctl {
namespace {

Answer send_to_window(std::uint32_t command, const std::wstring& text) {
  SetLastError(ERROR_SUCCESS);
  if (!vel::is_tray_running()) return Answer::kNobody;
  return vel::send_gui_ipc(command, text.c_str()) ? Answer::kHandled
                                                  : Answer::kNotHandled;
}

Answer send_to_pipe(std::uint32_t command, const std::wstring& text) {
  DWORD session = 0;
  if (!ProcessIdToSessionId(GetCurrentProcessId(), &session)) {
    return Answer::kNobody;
  }
  SetLastError(ERROR_SUCCESS);
  switch (vel::VelPipeCommand(vel::FormatWide(VEL_GUI_PIPE_FORMAT, session),
                              command, text, false)) {
    case VEL_GUI_PIPE_NO_REPLY:
      return Answer::kNobody;
    case VEL_GUI_PIPE_NOT_HANDLED:
      return Answer::kNotHandled;
    case VEL_GUI_PIPE_REFUSED:
      return Answer::kRefused;
    default:
      return Answer::kHandled;
  }
}

}  // namespace

Answer send_command(Door door, std::uint32_t command,
                    const std::wstring& text) {
  return door == Door::kPipe ? send_to_pipe(command, text)
                             : send_to_window(command, text);
}

}  // namespace velctl
