#ifndef VEL_TOOLS_PTPDUMP_TREEPRINTER_H_
#define VEL_TOOLS_PTPDUMP_TREEPRINTER_H_

#include "proptree/VelPropNode.h"
#include "ptpdump/Output.h"

namespace ptpdump {

// UTF-8, for trees of any depth. As text a line for each node and, indented,
// for each attribute; texts stand in quotes, numbers don't. From the 32nd level
// on a line is indented no further and begins with the number of its level. As
// JSON what read_json takes.
void print_text(Output& out, const vel::VelPropNode& root);
void print_json(Output& out, const vel::VelPropNode& root);

}  // namespace ptpdump

#endif  // VEL_TOOLS_PTPDUMP_TREEPRINTER_H_
