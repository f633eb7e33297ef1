// Property tree files, with the place of what is wrong in one.
#ifndef VEL_TOOLS_PTPDUMP_TREEFILE_H_
#define VEL_TOOLS_PTPDUMP_TREEFILE_H_

#include <cstdint>
#include <string>

#include "proptree/VelPropNode.h"

namespace ptpdump {

// The offset is that of the first piece that isn't whole or isn't right; the
// file's size where a piece is missing at the end.
struct Fault {
  std::uint64_t offset;
  std::string text;
};

// False, with the first fault, when the file isn't whole; `root` then holds
// what the file has before it, in nodes that aren't whole too.
bool load_tree(const std::wstring& path, vel::VelPropNode& root, Fault& fault);

// For a fault that ends the process while a file is being loaded: puts what was
// read until then into the tree's root, and returns the place.
std::uint64_t give_up_loading();

}  // namespace ptpdump

#endif  // VEL_TOOLS_PTPDUMP_TREEFILE_H_
