// Property tree files, with the place of what is wrong in one.
#ifndef VEL_TOOLS_PTPDUMP_TREEFILE_H_
#define VEL_TOOLS_PTPDUMP_TREEFILE_H_

#include <cstdint>
#include <string>

#include "proptree/VelPropNode.h"

namespace ptpdump {

struct Fault {
  std::uint64_t offset;
  std::string text;
};

// False, with the first fault, when the file isn't whole; `root` then holds
// what comes before it.
bool load_tree(const std::wstring& path, vel::VelPropNode& root, Fault& fault);

// Where the reader is in the file that is being loaded, for a fault that ends
// the process.
std::uint64_t load_offset();

}  // namespace ptpdump

#endif  // VEL_TOOLS_PTPDUMP_TREEFILE_H_
