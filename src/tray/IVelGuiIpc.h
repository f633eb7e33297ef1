// The receiver of GUI IPC commands, whichever door they came through.
#ifndef VEL_TRAY_IVELGUIIPC_H_
#define VEL_TRAY_IVELGUIIPC_H_

#include <cstdint>
#include <string>

namespace vel {

class IVelGuiIpc {
 public:
  // Carries a command of vel/GuiIpc.h out and returns its result: 0 not
  // handled, 1 done, 2 a soft shutdown that was refused. Blocks until the
  // command is done; several threads may be in here at the same time.
  virtual std::uint32_t on_gui_ipc(std::uint32_t command,
                                   const std::wstring& text) = 0;

 protected:
  ~IVelGuiIpc() = default;
};

}  // namespace vel

#endif  // VEL_TRAY_IVELGUIIPC_H_
