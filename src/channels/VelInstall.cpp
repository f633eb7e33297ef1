#include "channels/VelInstall.h"

#include "foundation/NotBuilt.h"

namespace vel {

int VelSvc_Notify(std::uint32_t, const std::wstring&) {
  report_not_built("VelSvc_Notify");
  return 0;
}

}  // namespace vel
