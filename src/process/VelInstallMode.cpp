#include "process/VelInstallMode.h"

#include "foundation/NotBuilt.h"

namespace vel {

int vel_install_mode(const std::wstring&) {
  report_not_built("vel_install_mode");
  return kInstallStepFailed;
}

}  // namespace vel
