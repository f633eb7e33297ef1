// The command line of velctl.
#ifndef VEL_TOOLS_VELCTL_OPTIONS_H_
#define VEL_TOOLS_VELCTL_OPTIONS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "velctl/Doors.h"

namespace velctl {

extern const char kUsage[];

struct Options {
  Door door = Door::kWindow;
  std::uint32_t command = 0;
  std::wstring text;
  // Bytes; 0 for a command without a block.
  std::uint32_t block_size = 0;
  // Tell what the tray does instead of what it has answered.
  bool status = false;
  bool help = false;
};

// Nothing when the arguments, without the program's name, make no sense.
std::optional<Options> parse_options(
    const std::vector<std::wstring>& arguments);

}  // namespace velctl

#endif  // VEL_TOOLS_VELCTL_OPTIONS_H_
