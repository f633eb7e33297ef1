#include "channels/VelPipeClient.h"

#include "foundation/NotBuilt.h"

namespace vel {

std::uint32_t VelPipeCommand(const std::wstring&, std::uint32_t,
                             const std::wstring&, bool) {
  report_not_built("VelPipeCommand");
  return 0;
}

}  // namespace vel
