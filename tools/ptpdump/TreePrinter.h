#ifndef VEL_TOOLS_PTPDUMP_TREEPRINTER_H_
#define VEL_TOOLS_PTPDUMP_TREEPRINTER_H_

#include <string>

#include "proptree/VelPropNode.h"

namespace ptpdump {

// UTF-8. As text a line for each node and, indented, for each attribute; texts
// stand in quotes, numbers don't. As JSON what read_json takes.
std::string tree_as_text(const vel::VelPropNode& root);
std::string tree_as_json(const vel::VelPropNode& root);

}  // namespace ptpdump

#endif  // VEL_TOOLS_PTPDUMP_TREEPRINTER_H_
